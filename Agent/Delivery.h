#pragma once

#include <KXCoreLib/StreamStorage.h>
#include <KXCoreLib/ThreadUtils.h>

namespace agent {

/// The thread that follows the stream: prints each record as a line, and discards what it has printed. What was printed
/// and not yet discarded when the process dies is printed again by the next one: a record may come twice, never not.
class Delivery : public KXCore::BackgroundThread {
  public:
    /// Wakes up when `arrivals` is signalled. Both outlive the thread.
    Delivery(KXCore::StreamStorage& stream, const KXCore::EventPort& arrivals);

    void run() override;

  private:
    void deliver();

    KXCore::StreamStorage& stream_;
    const KXCore::EventPort& arrivals_;
};

}  // namespace agent

#include "Auditor.h"

#include <KXCoreLib/AccountInfo.h>

namespace agent {

using namespace std::chrono_literals;

namespace {

constexpr auto kDecisionsLast = 100ms;

}  // namespace

void Auditor::audit(const DeviceEvent& event) {
    const auto configuration = settings_.get();
    const auto now = std::chrono::steady_clock::now();
    if (configuration != configuration_ || now - decidedAt_ > kDecisionsLast) {
        decisions_.clear();
        decidedAt_ = now;
        configuration_ = configuration;
    }
    recorder_.submit(
        recordOf(event, decisionOn(event.user, event.access, configuration->policy), configuration->observes));
}

const Decision& Auditor::decisionOn(const std::optional<uid_t>& user, std::uint32_t access, const Policy& policy) {
    const auto [found, isNew] = decisions_.try_emplace({user, access});
    // A user whom nobody knows has the identity of nobody.
    if (isNew) found->second = policy.decide(user ? KXCore::GetUserUUID(*user) : KXCore::UUID{}, access);
    return found->second;
}

}  // namespace agent

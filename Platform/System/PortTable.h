#pragma once

// The table of this process's ports.
//
// A port lives in a slot; slots stand in chunks that are never moved or freed, so a name finds its slot without a lock,
// and everything else is guarded by the slot's own mutex. A name is the slot's number with the generation of the slot
// in the bits above it: when a port dies the generation moves on, and names of the dead port are told from the next
// one's. Numbers below 2^20 are names of nothing.
//
// Order of locks: a run loop's, then a slot's, then the run loop's ready list. Nobody locks two slots.

#include "Support/NeverDestroyed.h"
#include "Support/Waker.h"

#include <mach/mach.h>

#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

namespace KXPlatform {

/// A message as its receiver will see it. A bare header needs no memory of its own.
struct PortMessage {
    mach_msg_header_t header{};
    std::unique_ptr<std::byte[]> whole;  ///< header and body, when there is a body

    mach_msg_header_t* get() noexcept { return whole ? reinterpret_cast<mach_msg_header_t*>(whole.get()) : &header; }
};

/// Wants to hear of one port's messages. The table refers to it from watch() until unwatch() has returned.
class PortWatch {
  public:
    /// A message has come, or the port has died. Called with the slot locked: it may only note the fact. Returns who is
    /// to be woken once the slot is unlocked; null for nobody.
    virtual std::shared_ptr<Waker> portChanged() noexcept = 0;

  protected:
    ~PortWatch() = default;
};

/// First in, first out, in a ring that grows to what it once held.
class MessageQueue {
  public:
    std::size_t size() const noexcept { return count_; }
    PortMessage& front() noexcept { return ring_[first_]; }
    void push(PortMessage&& message);
    PortMessage pop() noexcept;
    void clear() noexcept;

  private:
    std::vector<PortMessage> ring_;
    std::size_t first_ = 0;
    std::size_t count_ = 0;
};

struct PortSlot {
    std::mutex mutex;
    std::uint32_t generation = 0;  ///< of the name that lives here; 0 when none does
    std::uint32_t lastGeneration = 0;
    bool receive = false;  ///< the port is alive
    std::uint32_t sendRights = 0;
    std::uint32_t rightsMade = 0;
    std::uint32_t received = 0;
    mach_port_msgcount_t limit = MACH_PORT_QLIMIT_DEFAULT;
    MessageQueue queue;
    std::vector<PortWatch*> watches;
    std::uint32_t nextFree = 0;  ///< the number that became free after this one; under the table's mutex
    unsigned waitingReceivers = 0;
    unsigned waitingSenders = 0;
    std::condition_variable arrival;
    std::condition_variable room;
};

/// A slot that is locked and whose name lives; empty when the name stands for nothing.
class LockedPort {
  public:
    LockedPort() noexcept = default;
    LockedPort(PortSlot& slot, std::unique_lock<std::mutex>&& lock) noexcept : slot_(&slot), lock_(std::move(lock)) {}

    explicit operator bool() const noexcept { return slot_ != nullptr; }
    PortSlot* operator->() const noexcept { return slot_; }
    PortSlot& operator*() const noexcept { return *slot_; }
    std::unique_lock<std::mutex>& lock() noexcept { return lock_; }

  private:
    PortSlot* slot_ = nullptr;
    std::unique_lock<std::mutex> lock_;
};

class PortTable {
  public:
    static constexpr std::uint32_t kMaximumRights = 65535;

    static PortTable& shared() noexcept;

    /// A new port's name, or null and why not.
    kern_return_t allocate(mach_port_name_t& name) noexcept;

    LockedPort find(mach_port_name_t name) noexcept;

    /// Gives up the right to receive: messages are lost, waiters and watches hear of it. The name goes as well unless
    /// it still counts rights to send. Unlocks the port.
    void endReceive(mach_port_name_t name, LockedPort&& port) noexcept;

    /// Ends a name that stands for nothing any more. Unlocks the port.
    void endName(mach_port_name_t name, LockedPort&& port) noexcept;

    /// From now on `watch` hears of every message to `name`, and at once of one that waits already. Where this process
    /// cannot receive from `name` it hears of that, once. Throws std::bad_alloc with nothing changed.
    void watch(mach_port_name_t name, PortWatch& watch);
    void unwatch(mach_port_name_t name, PortWatch& watch) noexcept;

    struct Received {
        std::optional<PortMessage> message;  ///< the oldest, when there was one
        std::size_t remain = 0;              ///< how many are left
        bool alive = false;                  ///< this process can receive from the port
    };
    Received tryReceive(mach_port_name_t name) noexcept;

  private:
    friend class NeverDestroyed<PortTable>;

    static constexpr std::uint32_t kNumberBits = 20;
    static constexpr std::uint32_t kNumberMask = (1u << kNumberBits) - 1;
    static constexpr std::uint32_t kLastGeneration =
        (1u << (32 - kNumberBits)) - 2;  // all ones would meet MACH_PORT_DEAD
    static constexpr std::uint32_t kChunk = 256;
    static constexpr std::uint32_t kKeptFree = 256;  // numbers rest this long before they are used again

    PortTable() noexcept = default;
    PortSlot* slotAt(std::uint32_t number) const noexcept;

    std::array<std::atomic<PortSlot*>, (1u << kNumberBits) / kChunk> chunks_{};
    std::mutex mutex_;  // of what follows; taken after no other
    std::uint32_t used_ = 1;
    // Numbers that are free, in the order in which they became so.
    std::uint32_t firstFree_ = 0;
    std::uint32_t lastFree_ = 0;
    std::uint32_t freeCount_ = 0;
};

/// Gives the receiver of a message his right to send to the port that it names for replies.
void acceptReplyRight(mach_msg_header_t& header) noexcept;

/// After a message has been queued or taken: tells those who wait. Unlocks the port.
void announceMessage(LockedPort&& port) noexcept;
void announceRoom(LockedPort&& port) noexcept;

}  // namespace KXPlatform

#include "PortTable.h"

#include <algorithm>

namespace KXPlatform {

void MessageQueue::push(PortMessage&& message) {
    if (count_ == ring_.size()) {
        std::vector<PortMessage> larger(std::max<std::size_t>(1, 2 * ring_.size()));
        for (std::size_t i = 0; i < count_; ++i) larger[i] = std::move(ring_[(first_ + i) % ring_.size()]);
        ring_ = std::move(larger);
        first_ = 0;
    }
    ring_[(first_ + count_) % ring_.size()] = std::move(message);
    ++count_;
}

PortMessage MessageQueue::pop() noexcept {
    PortMessage message = std::move(ring_[first_]);
    first_ = (first_ + 1) % ring_.size();
    --count_;
    return message;
}

void MessageQueue::clear() noexcept {
    ring_.clear();
    first_ = count_ = 0;
}

PortTable& PortTable::shared() noexcept {
    static NeverDestroyed<PortTable> table;
    return *table;
}

PortSlot* PortTable::slotAt(std::uint32_t number) const noexcept {
    PortSlot* const chunk = chunks_[number / kChunk].load(std::memory_order_acquire);
    return chunk ? &chunk[number % kChunk] : nullptr;
}

kern_return_t PortTable::allocate(mach_port_name_t& name) noexcept {
    std::uint32_t number;
    {
        const std::lock_guard lock(mutex_);
        if (freeCount_ > kKeptFree || (freeCount_ > 0 && used_ > kNumberMask)) {
            number = firstFree_;
            firstFree_ = slotAt(number)->nextFree;
            --freeCount_;
        } else if (used_ > kNumberMask) {
            return KERN_NO_SPACE;
        } else {
            number = used_;
            auto& chunk = chunks_[number / kChunk];
            if (!chunk.load(std::memory_order_relaxed)) {
                PortSlot* const made = new (std::nothrow) PortSlot[kChunk];
                if (!made) return KERN_RESOURCE_SHORTAGE;
                chunk.store(made, std::memory_order_release);
            }
            ++used_;
        }
    }
    PortSlot& slot = *slotAt(number);
    const std::lock_guard lock(slot.mutex);
    slot.generation = slot.lastGeneration = slot.lastGeneration % kLastGeneration + 1;
    slot.receive = true;
    slot.sendRights = slot.rightsMade = slot.received = 0;
    slot.limit = MACH_PORT_QLIMIT_DEFAULT;
    name = slot.generation << kNumberBits | number;
    return KERN_SUCCESS;
}

LockedPort PortTable::find(mach_port_name_t name) noexcept {
    const std::uint32_t generation = name >> kNumberBits;
    if (generation == 0) return {};
    PortSlot* const slot = slotAt(name & kNumberMask);
    if (!slot) return {};
    std::unique_lock lock(slot->mutex);
    if (slot->generation != generation) return {};
    return {*slot, std::move(lock)};
}

void PortTable::endReceive(mach_port_name_t name, LockedPort&& port) noexcept {
    port->receive = false;
    MessageQueue lost = std::move(port->queue);
    port->queue.clear();
    std::vector<PortWatch*> watches = std::move(port->watches);
    port->watches.clear();
    std::shared_ptr<Waker> waker;
    for (PortWatch* const watch : watches) {
        if (waker) waker->wake();
        waker = watch->portChanged();
    }
    // Waiters hold no claim on the slot: they find that their generation, or the right to receive, has gone.
    port->arrival.notify_all();
    port->room.notify_all();
    if (port->sendRights == 0) {
        endName(name, std::move(port));
    } else {
        port.lock().unlock();
    }
    if (waker) waker->wake();
}

void PortTable::endName(mach_port_name_t name, LockedPort&& port) noexcept {
    port->generation = 0;
    port.lock().unlock();
    const std::uint32_t number = name & kNumberMask;
    const std::lock_guard lock(mutex_);
    (freeCount_++ == 0 ? firstFree_ : slotAt(lastFree_)->nextFree) = number;
    lastFree_ = number;
}

void PortTable::watch(mach_port_name_t name, PortWatch& watch) {
    std::shared_ptr<Waker> waker;
    if (LockedPort port = find(name); port && port->receive) {
        port->watches.push_back(&watch);
        if (port->queue.size() == 0) return;
        waker = watch.portChanged();
    } else {
        waker = watch.portChanged();
    }
    if (waker) waker->wake();
}

void PortTable::unwatch(mach_port_name_t name, PortWatch& watch) noexcept {
    if (LockedPort port = find(name)) std::erase(port->watches, &watch);
}

PortTable::Received PortTable::tryReceive(mach_port_name_t name) noexcept {
    Received received;
    LockedPort port = find(name);
    received.alive = port && port->receive;
    if (!received.alive || port->queue.size() == 0) return received;
    received.message = port->queue.pop();
    received.remain = port->queue.size();
    ++port->received;
    announceRoom(std::move(port));
    acceptReplyRight(*received.message->get());
    return received;
}

void acceptReplyRight(mach_msg_header_t& header) noexcept {
    if (header.msgh_remote_port == MACH_PORT_NULL) return;
    const LockedPort port = PortTable::shared().find(header.msgh_remote_port);
    if (!port || !port->receive) {
        header.msgh_remote_port = MACH_PORT_DEAD;
    } else if (port->sendRights < PortTable::kMaximumRights) {
        ++port->sendRights;
    }
}

void announceMessage(LockedPort&& port) noexcept {
    std::shared_ptr<Waker> waker;
    for (PortWatch* const watch : port->watches) {
        if (waker) waker->wake();
        waker = watch->portChanged();
    }
    PortSlot& slot = *port;
    const bool receiversWait = slot.waitingReceivers > 0;
    // Woken after the unlock: a thread that runs at once on this processor must not run into the lock.
    port.lock().unlock();
    if (receiversWait) slot.arrival.notify_all();
    if (waker) waker->wake();
}

void announceRoom(LockedPort&& port) noexcept {
    PortSlot& slot = *port;
    const bool sendersWait = slot.waitingSenders > 0;
    port.lock().unlock();
    if (sendersWait) slot.room.notify_all();
}

}  // namespace KXPlatform

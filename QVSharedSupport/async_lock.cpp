#include <QVSharedSupport/async_lock.h>

#include <boost/asio/error.hpp>

#include <condition_variable>
#include <mutex>

namespace QV::detail {

/// Those who wait on behalf of one execution context: none may be left when it goes.
class waiting_locks final : public boost::asio::execution_context::service {
public:
    using key_type = waiting_locks;
    static boost::asio::execution_context::id id;

    explicit waiting_locks(boost::asio::execution_context& context)
        : boost::asio::execution_context::service(context) {}

    void add(pending_lock& waiter) {
        const std::lock_guard guard(mutex_);
        waiter.place_ = waiting_.insert(waiting_.end(), waiter.shared_from_this());
    }
    void remove(pending_lock& waiter) noexcept {
        std::list<std::shared_ptr<pending_lock>> removed; // ends after the lock has been released
        const std::lock_guard guard(mutex_);
        removed.splice(removed.end(), waiting_, waiter.place_);
        if (waiting_.empty()) none_left_.notify_all();
    }
    /// Before a granted slot is delivered: from then on the semaphore may be gone.
    void decide(pending_lock& waiter) noexcept {
        const std::lock_guard guard(mutex_);
        waiter.decided_ = true;
    }

private:
    void shutdown() override;

    std::mutex mutex_;
    std::condition_variable none_left_;
    std::list<std::shared_ptr<pending_lock>> waiting_;
};

boost::asio::execution_context::id waiting_locks::id;

void waiting_locks::shutdown() {
    std::list<std::shared_ptr<pending_lock>> dropped;
    {
        std::unique_lock lock(mutex_);
        for (auto each = waiting_.begin(); each != waiting_.end();) {
            const auto waiter = each++;
            // Whoever has been decided on may have used its slot already, and the semaphore may have ended.
            if ((*waiter)->decided_) continue;
            if ((*waiter)->semaphore_.withdraw(**waiter)) dropped.splice(dropped.end(), waiting_, waiter);
        }
        // The others have a slot, and somebody is about to post it to this very context.
        none_left_.wait(lock, [&] { return waiting_.empty(); });
    }
    for (const std::shared_ptr<pending_lock>& waiter : dropped)
        waiter->drop();
}

/// Takes a waiter off the register when it has been decided on, after the last use of its context.
class pending_lock::registration {
public:
    explicit registration(pending_lock& waiter) noexcept : waiter_(waiter) {}
    registration(const registration&) = delete;
    registration& operator=(const registration&) = delete;
    ~registration() {
        if (waiter_.registry_) waiter_.registry_->remove(waiter_);
    }

private:
    pending_lock& waiter_;
};

pending_lock::pending_lock(AsyncDynamicSemaphore& semaphore) noexcept : semaphore_(semaphore) {}

pending_lock::~pending_lock() = default;

void pending_lock::start(boost::asio::execution_context* context) {
    if (context) {
        waiting_locks& registry = boost::asio::use_service<waiting_locks>(*context);
        registry.add(*this);
        registry_ = &registry;
    }
    try {
        semaphore_.enqueue(*this);
    } catch (...) {
        if (!decided_) const registration withdrawn(*this);
        throw;
    }
}

void pending_lock::grant() {
    if (registry_)
        registry_->decide(*this);
    else
        decided_ = true;
    const registration ends(*this);
    deliver({}, std::unique_lock(semaphore_, std::adopt_lock));
}

void pending_lock::cancel() {
    if (decided_ || !semaphore_.withdraw(*this)) return;
    const registration ends(*this);
    deliver(boost::asio::error::operation_aborted, {});
}

} // namespace QV::detail

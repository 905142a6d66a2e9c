/// The completion-token form of `AsyncDynamicSemaphore::async_lock`, which that class's header brings along.
#pragma once

#include <QVSharedSupport/AsyncDynamicSemaphore.h> // NOLINT(misc-header-include-cycle): see there

#include <boost/asio/associated_allocator.hpp>
#include <boost/asio/associated_cancellation_slot.hpp>
#include <boost/asio/associated_executor.hpp>
#include <boost/asio/execution.hpp>
#include <boost/asio/execution/bad_executor.hpp>
#include <boost/asio/execution_context.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/prefer.hpp>
#include <boost/asio/query.hpp>

#include <atomic>
#include <list>
#include <memory>
#include <type_traits>
#include <utility>

namespace QV {

namespace detail {

class waiting_locks;

/// An acquirer that can leave the queue again, and that does when the context of its executor is destroyed:
/// the part of the completion-token form that is no template.
///
/// Exactly one of the two is called, once: `deliver` with no lock held, on whatever thread has decided it;
/// `drop` on the thread that destroys the context.
class QV_EXPORT pending_lock : public std::enable_shared_from_this<pending_lock> {
public:
    pending_lock(const pending_lock&) = delete;
    pending_lock& operator=(const pending_lock&) = delete;
    virtual ~pending_lock();

    /// Delivers a slot as soon as there is one. `context` is null for an executor that has none.
    /// @throws std::bad_alloc, having queued nothing; what `deliver` throws
    void start(boost::asio::execution_context* context);
    /// Delivers `operation_aborted`, unless something has been delivered. Not while a delivery of the same
    /// operation may be running. @throws what `deliver` throws
    void cancel();

protected:
    explicit pending_lock(AsyncDynamicSemaphore& semaphore) noexcept;

private:
    friend class QV::AsyncDynamicSemaphore;
    friend class waiting_locks;
    class registration;

    virtual void deliver(boost::system::error_code ec, std::unique_lock<AsyncDynamicSemaphore> slot) = 0;
    virtual void drop() noexcept = 0;
    /// Delivers a slot that has been counted for it.
    void grant();

    AsyncDynamicSemaphore& semaphore_;
    const void* entry_ = nullptr; // what stands in the queue for it
    std::atomic<bool> decided_ = false;
    waiting_locks* registry_ = nullptr;
    std::list<std::shared_ptr<pending_lock>>::iterator place_;
};

/// What is posted: the handler with its result. Runs on the handler's executor, where alone its cancellation
/// slot may be touched.
template <class Handler>
struct lock_delivery {
    using allocator_type = boost::asio::associated_allocator_t<Handler>;

    Handler handler;
    boost::system::error_code ec;
    std::unique_lock<AsyncDynamicSemaphore> slot;

    allocator_type get_allocator() const noexcept { return boost::asio::get_associated_allocator(handler); }
    void operator()() {
        if (auto cancellation = boost::asio::get_associated_cancellation_slot(handler);
            cancellation.is_connected())
            cancellation.clear();
        std::move(handler)(ec, std::move(slot));
    }
};

/// A waiting handler, and the work that keeps its executor's context going meanwhile.
template <class Handler, class Executor>
class lock_operation final : public pending_lock {
public:
    lock_operation(AsyncDynamicSemaphore& semaphore, Handler&& handler, const Executor& fallback)
        : pending_lock(semaphore),
          work_(boost::asio::prefer(executor_type(boost::asio::get_associated_executor(handler, fallback)),
                                    tracked())),
          handler_(std::move(handler)) {}

    void run() {
        // Before it is queued: from then on its executor may be about to run the handler.
        if (auto cancellation = boost::asio::get_associated_cancellation_slot(handler_);
            cancellation.is_connected())
            cancellation.assign([weak = weak_from_this()](boost::asio::cancellation_type type) {
                // Nothing has happened while it waits: whatever is asked for can be promised.
                if (type == boost::asio::cancellation_type::none) return;
                if (const std::shared_ptr<pending_lock> self = weak.lock()) self->cancel();
            });
        start(context());
    }

private:
    using executor_type = boost::asio::associated_executor_t<Handler, Executor>;
    using tracked = boost::asio::execution::outstanding_work_t::tracked_t;
    using work = std::decay_t<typename boost::asio::prefer_result<const executor_type&, tracked>::type>;

    boost::asio::execution_context* context() {
        if constexpr (boost::asio::can_query_v<const work&, boost::asio::execution::context_t>)
            return &static_cast<boost::asio::execution_context&>(
                boost::asio::query(work_, boost::asio::execution::context));
        else
            return nullptr;
    }

    void deliver(boost::system::error_code ec, std::unique_lock<AsyncDynamicSemaphore> slot) override {
        const work executor = std::move(work_); // ends here, where the context is still known to be there
        boost::asio::post(executor, lock_delivery<Handler>{std::move(handler_), ec, std::move(slot)});
    }
    void drop() noexcept override {
        [[maybe_unused]] const work executor = std::move(work_);
        [[maybe_unused]] const Handler dropped = std::move(handler_);
    }

    work work_;
    Handler handler_;
};

/// Starts a `lock_operation` when the token says so.
class initiate_lock {
public:
    explicit initiate_lock(AsyncDynamicSemaphore& semaphore) noexcept : semaphore_(&semaphore) {}

    template <class Handler, class Executor>
    void operator()(Handler&& handler, const Executor& fallback) const {
        using stored = std::decay_t<Handler>;
        const auto executor = boost::asio::get_associated_executor(handler, fallback);
        if constexpr (requires { executor == nullptr; }) {
            if (executor == nullptr) throw boost::asio::execution::bad_executor();
        }
        if (semaphore_->try_lock()) {
            std::unique_lock slot(*semaphore_, std::adopt_lock);
            boost::asio::post(executor, lock_delivery<stored>{stored(std::forward<Handler>(handler)),
                                                              boost::system::error_code(), std::move(slot)});
            return;
        }
        std::make_shared<lock_operation<stored, Executor>>(*semaphore_,
                                                           stored(std::forward<Handler>(handler)), fallback)
            ->run();
    }

private:
    AsyncDynamicSemaphore* semaphore_;
};

} // namespace detail

template <lock_completion_token Token>
auto AsyncDynamicSemaphore::async_lock(Token&& token) {
    return async_lock(boost::asio::system_executor(), std::forward<Token>(token));
}

template <class Executor, lock_completion_token Token>
requires(boost::asio::execution::is_executor<Executor>::value) auto AsyncDynamicSemaphore::async_lock(
    const Executor& executor, Token&& token) {
    return boost::asio::async_initiate<Token, detail::lock_signature>(detail::initiate_lock(*this), token,
                                                                      executor);
}

} // namespace QV

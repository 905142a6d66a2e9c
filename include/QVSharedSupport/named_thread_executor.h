#pragma once

#include <QVSharedSupport/threads.h>

#include <boost/asio/execution.hpp>
#include <boost/asio/prefer.hpp>
#include <boost/asio/query.hpp>
#include <boost/asio/require.hpp>

#include <string>
#include <type_traits>
#include <utility>

namespace QV::SharedSupport {

/// Wraps an executor so that the thread that runs a function bears a name meanwhile, and its own afterwards.
///
///     named_thread_executor executor("restore", pool.get_executor());
///     boost::asio::post(executor, [] { /* GetCurrentThreadName() is "restore" */ });
///
/// An empty name leaves the threads as they are. All else, properties included, is the wrapped executor's
/// affair. Equal when name and executor are. Thread safety: that of the wrapped executor. Copying copies the
/// name, and ends the process for want of memory: an executor's copy may not throw.
template <class Executor>
class named_thread_executor {
public:
    using inner_executor_type = Executor;

    /// @throws nothing unless moving the executor does
    named_thread_executor(std::string name, Executor executor)
        : name_(std::move(name)), executor_(std::move(executor)) {}
    named_thread_executor(const named_thread_executor& other) noexcept
        : name_(other.name_), executor_(other.executor_) {}
    named_thread_executor(named_thread_executor&& other) noexcept = default;
    named_thread_executor& operator=(const named_thread_executor& other) noexcept {
        name_ = other.name_;
        executor_ = other.executor_;
        return *this;
    }
    named_thread_executor& operator=(named_thread_executor&& other) noexcept = default;
    ~named_thread_executor() = default;

    /// The name that threads bear while they run something of this executor.
    [[nodiscard]] const std::string& name() const noexcept { return name_; }
    /// The wrapped executor.
    [[nodiscard]] const Executor& get_inner_executor() const noexcept { return executor_; }

    /// Submits `function` to the wrapped executor, to be run under the name. @throws what that throws
    template <class Function>
    void execute(Function&& function) const {
        executor_.execute(
            [name = name_, call = std::decay_t<Function>(std::forward<Function>(function))]() mutable {
                const thread_name_scope named(name);
                std::move(call)();
            });
    }

    /// What the wrapped executor answers.
    template <class Property>
    requires(boost::asio::can_query<const Executor&, Property>::value) decltype(auto)
        query(const Property& property) const
        noexcept(boost::asio::is_nothrow_query<const Executor&, Property>::value) {
        return boost::asio::query(executor_, property);
    }
    /// The same name over the wrapped executor with the property.
    template <class Property>
    requires(boost::asio::can_require<const Executor&, Property>::value) auto require(
        const Property& property) const {
        return rename(boost::asio::require(executor_, property));
    }
    /// The same name over the wrapped executor, with the property if it likes.
    template <class Property>
    requires(boost::asio::can_prefer<const Executor&, Property>::value) auto prefer(
        const Property& property) const {
        return rename(boost::asio::prefer(executor_, property));
    }

    friend bool operator==(const named_thread_executor& a, const named_thread_executor& b) noexcept {
        return a.executor_ == b.executor_ && a.name_ == b.name_;
    }

private:
    template <class Other>
    named_thread_executor<std::decay_t<Other>> rename(Other&& other) const {
        return {name_, std::forward<Other>(other)};
    }

    std::string name_;
    Executor executor_;
};

template <class Executor>
named_thread_executor(std::string, Executor) -> named_thread_executor<Executor>;

} // namespace QV::SharedSupport

#pragma once

#include <QVSharedSupport/export.h>

#include <boost/asio/execution.hpp>
#include <boost/asio/execution_context.hpp>

#include <utility>

namespace QV {

/// The context of `non_async_executor`: a registry of Asio services and nothing else. There is one for the
/// process.
class non_async_execution_context : public boost::asio::execution_context {};

/// An executor that runs every function at once, on the calling thread, inside the call that submits it.
///
///     boost::asio::windows::basic_random_access_handle<QV::non_async_executor> file({}, handle);
///     file.read_some_at(0, buffer, ec);               // no io_context, nobody to call run()
///
/// It is for Asio objects that are used only through their blocking operations, and for algorithms whose
/// pieces should run where they are. `dispatch`, `post` and `defer` all run the function before they return,
/// because there is no other place to run it: `blocking.never` can be required, as `any_io_executor` insists,
/// but is not kept. So do not submit while holding a lock that the function takes, and do not wait after the
/// call for what the function is to do first.
///
/// An exception thrown by the function reaches whoever submitted it. All values are equal. Thread safety: any
/// thread at any time.
class non_async_executor {
public:
    /// The context, the same one for every module of the process. Made on first use; from then on this
    /// library stays loaded, and the context is never destroyed: its services may have a thread (that of a
    /// file has one), and nobody can wait for a thread while a library is unloaded. What a module that is
    /// itself unloaded started there must have ended by then, and a service whose code is the module's own,
    /// as that of Asio's timers is, keeps being called: a module that makes one there must stay as well.
    /// @throws boost::system::system_error "mutex" when the system gives none
    QV_EXPORT non_async_execution_context& context() const;

    /// Calls `function`. @throws what it throws
    template <class Function>
    void execute(Function&& function) const {
        // In a copy of our own, as every executor does: what runs may destroy what it was submitted from.
        std::decay_t<Function> own(std::forward<Function>(function));
        std::move(own)();
    }

    /// `context()`.
    non_async_execution_context& query(boost::asio::execution::context_t) const { return context(); }
    /// Always: the caller goes on only after the function has run.
    static constexpr boost::asio::execution::blocking_t query(boost::asio::execution::blocking_t) noexcept {
        return boost::asio::execution::blocking.always;
    }
    /// Functions run on the thread that submits them.
    static constexpr boost::asio::execution::mapping_t query(boost::asio::execution::mapping_t) noexcept {
        return boost::asio::execution::mapping.thread;
    }

    /// Every way of blocking, relation and tracking may be asked for; none changes anything.
    constexpr non_async_executor require(boost::asio::execution::blocking_t::possibly_t) const noexcept {
        return *this;
    }
    constexpr non_async_executor require(boost::asio::execution::blocking_t::always_t) const noexcept {
        return *this;
    }
    constexpr non_async_executor require(boost::asio::execution::blocking_t::never_t) const noexcept {
        return *this;
    }
    constexpr non_async_executor require(boost::asio::execution::relationship_t::fork_t) const noexcept {
        return *this;
    }
    constexpr non_async_executor
    require(boost::asio::execution::relationship_t::continuation_t) const noexcept {
        return *this;
    }
    constexpr non_async_executor
    require(boost::asio::execution::outstanding_work_t::tracked_t) const noexcept {
        return *this;
    }
    constexpr non_async_executor
    require(boost::asio::execution::outstanding_work_t::untracked_t) const noexcept {
        return *this;
    }

    friend constexpr bool operator==(const non_async_executor&, const non_async_executor&) noexcept {
        return true;
    }
};

} // namespace QV

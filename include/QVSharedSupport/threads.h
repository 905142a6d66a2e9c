/// Services for threads: their names, and a list of threads that are joined together.
#pragma once

#include <QVSharedSupport/export.h>

#include <QVPlatformCompatibility/thread.h>

#include <functional>
#include <list>
#include <mutex>
#include <optional>
#include <string>

namespace QV {

/// The calling thread's name as debuggers show it, in UTF-8; empty text for a thread that was never named. No
/// value if the system cannot tell.
///
/// What is not UTF-16 is left out: a lone low surrogate, a high one at the end, and a high surrogate together
/// with whatever follows it unless that is a low one. Does not block. @throws std::bad_alloc
[[nodiscard]] QV_EXPORT std::optional<std::string> GetCurrentThreadName();

/// Names the calling thread, for debuggers and in the log. An empty name clears it.
///
/// Bytes that are not UTF-8 are left out; the system's name ends at the first NUL. Does not block.
/// @return the system's answer, an `HRESULT`: 0 or more is success. The name in the log is set in any case.
/// @throws std::bad_alloc
QV_EXPORT int SetCurrentThreadName(const std::string& name);

/// Destroys `handler`. On this platform no handler is ever installed or called: programs may call this
/// unconditionally.
QV_EXPORT void InstallSignalHandler(int signal, std::function<void()> handler);

/// Gives the calling thread a name for the length of a scope, and its own name back afterwards.
///
/// Does nothing for an empty name, and where the thread's own name cannot be read: it could not be restored.
/// Thread safety: made and destroyed on the same thread.
class QV_EXPORT thread_name_scope {
public:
    /// @throws std::bad_alloc
    explicit thread_name_scope(const std::string& name);
    thread_name_scope(const thread_name_scope&) = delete;
    thread_name_scope& operator=(const thread_name_scope&) = delete;
    /// Restores the name; for want of memory the thread keeps the name of the scope.
    ~thread_name_scope();

private:
    std::optional<std::string> own_name_;
};

/// A list of threads that is joined as a whole.
///
///     QV::thread_pool helpers;
///     helpers.add(QV::thread([state] { state->run(); }));
///     // leaving the scope waits for all of them
///
/// Thread safety: `add` from any thread, also from a thread of the pool while the pool is being destroyed.
class QV_EXPORT thread_pool {
public:
    /// Without threads.
    thread_pool();
    thread_pool(const thread_pool&) = delete;
    thread_pool& operator=(const thread_pool&) = delete;
    /// Blocks until every thread has ended, those added meanwhile by its own threads included. Ends the
    /// process when called on a thread of the pool.
    ~thread_pool();

    /// Takes over a thread; one that has nothing to join is taken as well.
    /// @throws std::bad_alloc, leaving the thread with the caller
    void add(thread&& thread);

private:
    std::list<thread> threads_;
    std::mutex mutex_;
};

} // namespace QV

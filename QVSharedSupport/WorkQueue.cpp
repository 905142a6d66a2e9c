#include <QVSharedSupport/WorkQueue.h>

#include <QVSharedSupport/threads.h>

#include <boost/system/system_error.hpp>

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace QV::SharedSupport {

WorkQueue::WorkQueue(std::string name, bool start_now)
    : name_(std::move(name)), work_guard_(context_.get_executor()) {
    if (start_now) start(); // when it fails it has joined what it started
}

WorkQueue::WorkQueue() : WorkQueue(std::string(), true) {}

WorkQueue::~WorkQueue() {
    reset();
    // A handler may add threads as long as there is one: each is taken out by itself, and its place stays, so
    // that no other gets its name.
    for (std::size_t index = 0;; ++index) {
        thread ending;
        {
            const std::lock_guard lock(mutex_);
            if (index == threads_.size()) break;
            ending = std::move(threads_[index]);
        }
        if (ending.joinable()) ending.join();
    }
}

void WorkQueue::start() {
    const std::lock_guard lock(mutex_);
    if (running_) return;
    // Once more: after reset_context() a former thread that had not returned yet would never do so.
    if (std::any_of(threads_.begin(), threads_.end(), [](const thread& each) { return each.joinable(); }))
        context_.stop();
    const std::size_t wanted = std::max<std::size_t>(destroyAllThreads(), 1);
    context_.restart();
    try {
        while (threads_.size() < wanted)
            runNewThread();
    } catch (...) {
        context_.stop();
        destroyAllThreads();
        threads_.resize(wanted); // owed; fits, as it did before
        throw;
    }
    running_ = true;
}

void WorkQueue::stop() {
    const std::lock_guard lock(mutex_);
    if (!running_) return;
    running_ = false;
    context_.stop();
}

void WorkQueue::join() {
    for (thread& each : threads_)
        if (each.joinable()) each.join();
}

void WorkQueue::reset() {
    // Once, whoever comes first. Not under the lock, which start() holds while it waits for handlers.
    if (!guard_released_.exchange(true)) work_guard_.reset();
}

void WorkQueue::reset_context() {
    const std::lock_guard lock(mutex_);
    if (!running_) context_.restart();
}

void WorkQueue::add_thread() {
    const std::lock_guard lock(mutex_);
    if (running_)
        runNewThread();
    else
        threads_.emplace_back();
}

boost::asio::io_context::executor_type WorkQueue::get_executor() {
    return context_.get_executor();
}

void WorkQueue::runNewThread() {
    std::string thread_name = fmt::format("{}[{}]", name_, threads_.size());
    thread& added = threads_.emplace_back(); // first, so that no running thread is left without an owner
    try {
        added.start_thread(
            [](boost::asio::io_context& context, const std::string& own_name) {
                const thread_name_scope named(own_name);
                boost::system::error_code ec;
                context.run(ec);
                if (ec) throw boost::system::system_error(ec, "run");
            },
            std::ref(context_), std::move(thread_name));
    } catch (...) {
        threads_.pop_back();
        throw;
    }
}

std::size_t WorkQueue::destroyAllThreads() {
    join();
    const std::size_t count = threads_.size();
    threads_.clear();
    return count;
}

} // namespace QV::SharedSupport

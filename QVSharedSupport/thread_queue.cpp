#include <QVSharedSupport/thread_queue.h>

#include <QVSharedSupport/threads.h>

#include "try_log.h"

#include <algorithm>
#include <condition_variable>
#include <exception>
#include <future>
#include <map>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <utility>

namespace QV::SharedSupport {

namespace {

using clock = std::chrono::steady_clock;

// Some systems wait for a number of milliseconds that a far deadline does not fit in: they are given a part
// of it.
constexpr std::chrono::hours longest_wait(1);

} // namespace

struct thread_queue_base::internal_data {
    using task_queue = std::multimap<clock::time_point, std::function<void()>>;

    std::mutex mutex;
    task_queue tasks;
    std::condition_variable cv;
    thread::id worker_thread_id = 0;
    std::string name;
    std::promise<void> finished;
    // Not a plain future: every handle that waits has a copy.
    std::shared_future<void> is_finished = finished.get_future().share();
    bool finished_early = false;

    internal_data(bool waited_for, std::string worker_name) : name(std::move(worker_name)) {
        if (!waited_for) {
            finished.set_value();
            finished_early = true;
        }
    }
    internal_data(const internal_data&) = delete;
    internal_data& operator=(const internal_data&) = delete;
    ~internal_data() {
        if (!finished_early) finished.set_value();
    }

    struct synchronous_call;
    struct synchronous_task;

    static void enqueue(const std::shared_ptr<internal_data>& data, std::unique_lock<std::mutex>& lock,
                        clock::time_point deadline, std::function<void()> task);
    static void start_worker(const std::shared_ptr<internal_data>& data);
    // An exception that leaves a task ends the process here, with nothing unwound that somebody waits for.
    void work() noexcept;
    void wait_until_due(std::unique_lock<std::mutex>& lock);
    void run_inline(const std::shared_ptr<internal_data>& self, std::unique_lock<std::mutex>& lock,
                    std::function<void()>& task);
    task_queue take_synchronous_tasks() noexcept;
};

/// What a thread waits for whose task another one runs.
struct thread_queue_base::internal_data::synchronous_call {
    std::function<void()> task;
    std::promise<void> done;
    // Handed over whole, so that it ends on the thread that waits: what it holds may be the caller's.
    std::exception_ptr failure;

    void end(std::exception_ptr reason) {
        task = nullptr; // before the caller goes on: it may refer to what is the caller's
        failure = std::move(reason);
        done.set_value();
    }
};

/// What is queued for it.
struct thread_queue_base::internal_data::synchronous_task {
    // Shared: the worker is still inside set_value() when the thread that waits goes on.
    std::shared_ptr<synchronous_call> call;

    void operator()() const {
        std::exception_ptr failure;
        try {
            call->task();
        } catch (...) {
            failure = std::current_exception();
        }
        call->end(std::move(failure));
    }
};

/// With the lock held.
void thread_queue_base::internal_data::start_worker(const std::shared_ptr<internal_data>& data) {
    // The worker's own reference, which ends with its work.
    // NOLINTNEXTLINE(performance-unnecessary-value-param)
    thread worker([](std::shared_ptr<internal_data> own) { own->work(); }, data);
    data->worker_thread_id = worker.get_id();
    worker.detach();
}

/// With the lock held; may release it, and has when it fails: what the refused task captured may use the
/// queue.
void thread_queue_base::internal_data::enqueue(const std::shared_ptr<internal_data>& data,
                                               std::unique_lock<std::mutex>& lock, clock::time_point deadline,
                                               std::function<void()> task) {
    task_queue::iterator entry = data->tasks.end();
    try {
        entry = data->tasks.emplace(deadline, std::move(task)); // after those of the same deadline
        if (data->worker_thread_id == 0) {
            start_worker(data);
            return;
        }
    } catch (...) {
        if (entry != data->tasks.end()) {
            task = std::move(entry->second);
            data->tasks.erase(entry);
        }
        lock.unlock();
        task = nullptr;
        throw;
    }
    // A worker that sleeps does so until the first entry is due, and must hear of an earlier one. Changes of
    // name stand at the zero time point without having woken it: what comes after them leads all the same.
    const auto after_names = data->tasks.upper_bound(clock::time_point());
    const bool leads =
        entry == data->tasks.begin() || entry == after_names || deadline == clock::time_point();
    if (leads && data->tasks.size() > 1) {
        lock.unlock();
        data->cv.notify_one();
    }
}

void thread_queue_base::internal_data::wait_until_due(std::unique_lock<std::mutex>& lock) {
    for (;;) {
        const clock::time_point deadline = tasks.begin()->first;
        const clock::time_point now = clock::now();
        if (deadline <= now) return;
        cv.wait_until(lock, deadline - now < longest_wait ? deadline : now + longest_wait);
    }
}

void thread_queue_base::internal_data::work() noexcept {
    std::unique_lock lock(mutex);
    const std::string thread_name = name.empty() ? "Unnamed thread_queue worker" : name;
    lock.unlock();
    SetCurrentThreadName(thread_name);
    lock.lock();
    while (!tasks.empty()) {
        wait_until_due(lock);
        std::function<void()> task = std::move(tasks.begin()->second);
        tasks.erase(tasks.begin());
        lock.unlock();
        task();
        task = nullptr; // what it captured may use the queue
        lock.lock();
    }
    worker_thread_id = 0;
}

/// With the lock held.
thread_queue_base::internal_data::task_queue
thread_queue_base::internal_data::take_synchronous_tasks() noexcept {
    task_queue taken;
    for (auto each = tasks.begin(); each != tasks.end();) {
        const auto entry = each++;
        if (entry->second.target<synchronous_task>()) taken.insert(tasks.extract(entry));
    }
    return taken;
}

/// The calling thread stands in for the worker.
void thread_queue_base::internal_data::run_inline(const std::shared_ptr<internal_data>& self,
                                                  std::unique_lock<std::mutex>& lock,
                                                  std::function<void()>& task) {
    const std::string thread_name = name;
    worker_thread_id = thread::current_id();
    lock.unlock();
    std::exception_ptr failure;
    try {
        const thread_name_scope named(thread_name);
        task();
        task = nullptr;
    } catch (...) {
        failure = std::current_exception();
    }
    task = nullptr;
    lock.lock();
    worker_thread_id = 0;
    std::exception_ptr refused;
    task_queue given_up;
    try {
        if (!tasks.empty()) start_worker(self);
    } catch (...) {
        // No later push may come to try again, and somebody waits for each of these.
        refused = std::current_exception();
        given_up = take_synchronous_tasks();
    }
    const bool nothing_left = tasks.empty();
    lock.unlock();
    for (const auto& [deadline, given_up_task] : given_up)
        given_up_task.target<synchronous_task>()->call->end(refused);
    if (failure && refused && !nothing_left) {
        try {
            std::rethrow_exception(refused);
        } catch (const std::exception& reason) {
            try_log("System", Logging::log_level::error, "No thread for the tasks queued meanwhile: {}",
                    reason.what());
        }
    }
    if (failure) std::rethrow_exception(failure);
    if (refused && !nothing_left) std::rethrow_exception(refused);
}

thread_queue_base::thread_queue_base(bool wait_on_destroy, std::string name)
    : data_strong_(std::make_shared<internal_data>(wait_on_destroy, std::move(name))),
      wait_on_destroy_(wait_on_destroy) {
    data_weak_ = data_strong_;
}

thread_queue_base::thread_queue_base(std::nullptr_t, bool wait_on_destroy) noexcept
    : wait_on_destroy_(wait_on_destroy) {}

thread_queue_base::thread_queue_base(const thread_queue_base& other) noexcept = default;

thread_queue_base::thread_queue_base(thread_queue_base&& other) noexcept
    : data_weak_(std::move(other.data_weak_)), data_strong_(std::move(other.data_strong_)),
      wait_on_destroy_(other.wait_on_destroy_) {}

thread_queue_base::~thread_queue_base() {
    std::shared_future<void> finished;
    if (data_strong_ && wait_on_destroy_) {
        const std::lock_guard lock(data_strong_->mutex);
        if (data_strong_->worker_thread_id != thread::current_id()) finished = data_strong_->is_finished;
    }
    data_weak_.reset();
    data_strong_.reset();
    if (finished.valid()) finished.wait();
}

bool thread_queue_base::same_queue(const thread_queue_base& other) const noexcept {
    return data_strong_ == other.data_strong_;
}

void thread_queue_base::swap(thread_queue_base& other) noexcept {
    data_weak_.swap(other.data_weak_);
    data_strong_.swap(other.data_strong_);
}

std::shared_ptr<thread_queue_base::internal_data> thread_queue_base::get_data() {
    if (std::shared_ptr<internal_data> data = data_weak_.lock()) return data;
    auto data = std::make_shared<internal_data>(wait_on_destroy_, std::string());
    data_weak_ = data;
    data_strong_ = data;
    return data;
}

void thread_queue_base::make_valid() {
    static_cast<void>(get_data());
}

void thread_queue_base::set_name(std::string name) {
    const std::shared_ptr<internal_data> data = get_data();
    const std::lock_guard lock(data->mutex);
    if (data->worker_thread_id != 0)
        // Nobody is woken for a name: a worker that sleeps takes it when it next has something to do.
        data->tasks.emplace(clock::time_point(), [name] { SetCurrentThreadName(name); });
    data->name = std::move(name);
}

void thread_queue_base::push_async(std::function<void()> task, clock::time_point deadline) {
    const std::shared_ptr<internal_data> data = get_data();
    std::unique_lock lock(data->mutex);
    internal_data::enqueue(data, lock, deadline, std::move(task));
}

void thread_queue_base::push_sync(std::function<void()> task, bool allow_from_worker) {
    const std::shared_ptr<internal_data> data = get_data();
    std::shared_ptr<internal_data::synchronous_call> call; // outlives the lock, as the task does
    std::unique_lock lock(data->mutex);
    if (data->worker_thread_id == 0) {
        data->run_inline(data, lock, task);
        return;
    }
    if (data->worker_thread_id == thread::current_id()) {
        if (!allow_from_worker)
            throw std::runtime_error("Trying to push synchronously from the current thread");
        lock.unlock();
        task();
        return;
    }
    call = std::make_shared<internal_data::synchronous_call>();
    const std::future<void> done = call->done.get_future();
    call->task = std::move(task);
    internal_data::enqueue(data, lock, clock::now(), internal_data::synchronous_task{call});
    if (lock.owns_lock()) lock.unlock();
    done.wait();
    if (call->failure) std::rethrow_exception(std::exchange(call->failure, nullptr));
}

} // namespace QV::SharedSupport

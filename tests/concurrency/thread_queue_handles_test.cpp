#include <QVSharedSupport/thread_queue.h>

#include <gtest/gtest.h>

#include <condition_variable>
#include <cstddef>
#include <memory>
#include <mutex>
#include <random>
#include <utility>
#include <vector>

namespace {

using QV::SharedSupport::thread_queue;

/// Counts what the tasks of each queue have done.
class counters {
public:
    int add_queue() {
        const std::lock_guard guard(mutex_);
        ran_.push_back(0);
        return static_cast<int>(ran_.size()) - 1;
    }
    void count(int queue) {
        const std::lock_guard guard(mutex_);
        ++ran_[static_cast<std::size_t>(queue)];
        changed_.notify_all();
    }
    void wait_for(const std::vector<int>& expected) {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [&] { return ran_ == expected; });
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<int> ran_;
};

/// A handle, and which queue it should be one on; -1 for none.
struct tracked {
    thread_queue handle;
    int queue;
};

class thread_queue_handles : public testing::TestWithParam<unsigned> {};

TEST_P(thread_queue_handles, are_copied_moved_swapped_and_destroyed_in_any_order_while_tasks_remain) {
    SCOPED_TRACE(testing::Message() << "seed " << GetParam());
    std::mt19937 random(GetParam());
    const auto below = [&](std::size_t n) {
        return std::uniform_int_distribution<std::size_t>(0, n - 1)(random);
    };
    // Outlives the workers' use of it: every task is waited for.
    counters counted;
    std::vector<int> pushed;
    const auto new_queue = [&] {
        pushed.push_back(0);
        return counted.add_queue();
    };
    std::vector<std::unique_ptr<tracked>> handles;
    const auto any = [&]() -> tracked& { return *handles[below(handles.size())]; };

    for (int step = 0; step < 600; ++step) {
        if (handles.empty()) {
            handles.push_back(std::make_unique<tracked>(tracked{thread_queue("io", false), new_queue()}));
            continue;
        }
        switch (below(12)) {
        case 0:
            handles.push_back(std::make_unique<tracked>(tracked{thread_queue("io", false), new_queue()}));
            break;
        case 1:
            handles.push_back(std::make_unique<tracked>(tracked{thread_queue(nullptr, false), -1}));
            break;
        case 2:
        case 3:
            handles.push_back(std::make_unique<tracked>(any()));
            break;
        case 4: {
            tracked& source = any();
            handles.push_back(std::make_unique<tracked>(std::move(source)));
            source.queue = -1;
            break;
        }
        case 5: {
            tracked& one = any();
            tracked& two = any();
            swap(one.handle, two.handle);
            std::swap(one.queue, two.queue);
            break;
        }
        case 6:
        case 7:
            handles.erase(handles.begin() + static_cast<std::ptrdiff_t>(below(handles.size())));
            break;
        default: {
            tracked& used = any();
            if (used.queue < 0) used.queue = new_queue();
            ++pushed[static_cast<std::size_t>(used.queue)];
            const auto task = [&counted, queue = used.queue] { counted.count(queue); };
            if (below(4) == 0)
                used.handle.push_sync(task);
            else
                used.handle.push_async(task, std::chrono::microseconds(below(200)));
        }
        }
        if (!handles.empty()) {
            const tracked& one = any();
            const tracked& two = any();
            ASSERT_EQ(one.handle.same_queue(two.handle), one.queue == two.queue) << "step " << step;
        }
    }
    handles.clear();
    counted.wait_for(pushed);
}

INSTANTIATE_TEST_SUITE_P(seeds, thread_queue_handles, testing::Range(1U, 21U));

} // namespace

#include <QVSharedSupport/thread_queue.h>

#include <QVSharedSupport/threads.h>

#include <gtest/gtest.h>

#include <functional>
#include <future>
#include <map>
#include <optional>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace std::chrono_literals;
using QV::SharedSupport::thread_queue;
using time_point = thread_queue::clock::time_point;

/// A task that ran, and the name that its thread bore.
using record = std::pair<int, std::string>;

/// What is to be done when a task runs, drawn beforehand so that queue and model do the same.
struct plan {
    int number;
    time_point deadline;
    std::optional<std::string> renames;
    bool runs_another_inline;
    std::vector<plan> pushes;
};

class planner {
public:
    explicit planner(unsigned seed) : random_(seed) {}

    unsigned below(unsigned n) { return std::uniform_int_distribution<unsigned>(0, n - 1)(random_); }

    plan draw(int depth = 0) {
        plan drawn{next_++, draw_deadline(), {}, below(8) == 0, {}};
        if (below(6) == 0) drawn.renames = "name " + std::to_string(drawn.number);
        if (depth < 2 && below(3) == 0)
            for (unsigned count = below(3); count != 0; --count)
                drawn.pushes.push_back(draw(depth + 1));
        return drawn;
    }

private:
    // All of them past, few of them, so that many are equal; the zero point among them, where names stand.
    time_point draw_deadline() {
        const unsigned kind = below(7);
        return kind == 0 ? time_point::min() : time_point(std::chrono::nanoseconds(kind - 1));
    }

    std::mt19937 random_;
    int next_ = 0;
};

/// The queue in the plainest form: one thread, one sorted list.
struct model {
    std::multimap<time_point, std::function<void()>> tasks;
    std::string thread_name;
    std::vector<record> ran;

    void push(const plan& task) {
        tasks.emplace(task.deadline, [this, task] { run(task); });
    }
    void set_name(const std::string& name) {
        tasks.emplace(time_point(), [this, name] { thread_name = name; });
    }
    void run(const plan& task) {
        ran.emplace_back(task.number, thread_name);
        for (const plan& each : task.pushes)
            push(each);
        if (task.renames) set_name(*task.renames);
        if (task.runs_another_inline) ran.emplace_back(-task.number, thread_name);
    }
    void run_all() {
        while (!tasks.empty())
            tasks.extract(tasks.begin()).mapped()();
    }
};

class thread_queue_against_model : public testing::TestWithParam<unsigned> {
protected:
    static std::string name_of_thread() { return QV::GetCurrentThreadName().value_or(std::string()); }

    void push(const plan& task) {
        queue.push_async([this, task] { run(task); }, task.deadline);
    }
    void run(const plan& task) {
        ran.emplace_back(task.number, name_of_thread());
        for (const plan& each : task.pushes)
            push(each);
        if (task.renames) queue.set_name(*task.renames);
        if (task.runs_another_inline)
            queue.push_sync([&] { ran.emplace_back(-task.number, name_of_thread()); }, true);
    }

    thread_queue queue{"first name"};
    std::vector<record> ran;
};

TEST_P(thread_queue_against_model, runs_the_same_tasks_in_the_same_order_under_the_same_names) {
    SCOPED_TRACE(testing::Message() << "seed " << GetParam());
    bool names = false;
    QV::thread([&] { names = QV::SetCurrentThreadName("") >= 0; }).join();
    planner plans(GetParam());
    model expected;
    expected.thread_name = "first name";
    for (int round = 0; round < 20; ++round) {
        // A worker is held back until everything has been queued.
        std::promise<void> inside;
        std::promise<void> open;
        queue.push_async([&] {
            inside.set_value();
            open.get_future().wait();
        });
        inside.get_future().wait();
        for (unsigned count = plans.below(12); count != 0; --count) {
            const plan task = plans.draw();
            push(task);
            expected.push(task);
            if (plans.below(8) == 0) {
                const std::string name = "round " + std::to_string(round);
                queue.set_name(name);
                expected.set_name(name);
            }
        }
        open.set_value();
        queue.push_sync([] {}); // due now: later than all the others
        expected.run_all();
        if (!names)
            for (record& each : expected.ran)
                each.second.clear();
        ASSERT_EQ(ran, expected.ran) << "round " << round;
    }
}

INSTANTIATE_TEST_SUITE_P(seeds, thread_queue_against_model, testing::Range(1U, 41U));

} // namespace

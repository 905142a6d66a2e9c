#include "run_child.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace {

// The handles of a child: value and type.
using handle_list = std::map<std::int64_t, std::string>;

struct report {
    std::vector<std::int64_t> standard; // standard input, output, error
    handle_list all;
};

report read_report(const std::string& output) {
    report seen;
    std::istringstream lines(output);
    std::int64_t value = 0;
    std::string type;
    while (lines >> value >> type) {
        if (seen.standard.size() < 3)
            seen.standard.push_back(value);
        else
            seen.all.emplace(value, type);
    }
    return seen;
}

report list_handles(QV::piped_process::options options) {
    const child_outcome outcome = run_child(std::move(options));
    EXPECT_EQ(outcome.code, 0);
    return read_report(outcome.output);
}

struct raw_pipe {
    raw_pipe() {
        void* ends[2] = {};
        CreatePipe(&ends[0], &ends[1], nullptr, 0);
        read_end = QV::pipe::handle(ends[0]);
        write_end = QV::pipe::handle(ends[1]);
    }
    QV::pipe::handle read_end;
    QV::pipe::handle write_end;
};

// What the child has that Windows itself is asked for, with three pipes and nothing else to inherit.
report list_handles_of_bare_child() {
    raw_pipe input;
    raw_pipe output;
    raw_pipe error;
    HANDLE inherited[] = {input.read_end.get(), output.write_end.get(), error.write_end.get()};
    for (HANDLE handle : inherited)
        SetHandleInformation(handle, HANDLE_FLAG_INHERIT, HANDLE_FLAG_INHERIT);
    SIZE_T size = 0;
    InitializeProcThreadAttributeList(nullptr, 1, 0, &size);
    std::vector<std::byte> memory(size);
    const auto attributes = reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(memory.data());
    EXPECT_TRUE(InitializeProcThreadAttributeList(attributes, 1, 0, &size));
    EXPECT_TRUE(UpdateProcThreadAttribute(attributes, 0, PROC_THREAD_ATTRIBUTE_HANDLE_LIST, inherited,
                                          sizeof(inherited), nullptr, nullptr));
    STARTUPINFOEXW startup = {};
    startup.StartupInfo.cb = sizeof(startup);
    startup.StartupInfo.dwFlags = STARTF_USESTDHANDLES;
    startup.StartupInfo.hStdInput = inherited[0];
    startup.StartupInfo.hStdOutput = inherited[1];
    startup.StartupInfo.hStdError = inherited[2];
    startup.lpAttributeList = attributes;
    PROCESS_INFORMATION started = {};
    const std::wstring program = helper_program("list_handles").wstring();
    std::wstring line = L"\"" + program + L"\"";
    EXPECT_TRUE(CreateProcessW(program.c_str(), line.data(), nullptr, nullptr, TRUE,
                               CREATE_NO_WINDOW | EXTENDED_STARTUPINFO_PRESENT, nullptr, nullptr,
                               &startup.StartupInfo, &started));
    const QV::pipe::handle process(started.hProcess);
    const QV::pipe::handle thread(started.hThread);
    DeleteProcThreadAttributeList(attributes);
    output.write_end.destroy();
    std::string text;
    char piece[4096];
    for (DWORD count = 0; ReadFile(output.read_end.get(), piece, sizeof(piece), &count, nullptr);)
        text.append(piece, count);
    return read_report(text);
}

QV::piped_process::options plain() {
    return QV::piped_process::make_options(helper_program("list_handles"), {}, {});
}

std::multiset<std::string> types(const report& seen) {
    std::multiset<std::string> all;
    for (const auto& [value, type] : seen.all)
        all.insert(type);
    return all;
}

// An inheritable object that no child is meant to get.
QV::pipe::handle inheritable_event() {
    SECURITY_ATTRIBUTES security = {sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
    return QV::pipe::handle(CreateEventW(&security, TRUE, FALSE, nullptr));
}

std::int64_t number(void* handle) {
    return reinterpret_cast<std::intptr_t>(handle);
}

TEST(inheritance, gives_the_standard_handles) {
    const report seen = list_handles(plain());
    ASSERT_EQ(seen.standard.size(), 3u);
    EXPECT_EQ(std::set<std::int64_t>(seen.standard.begin(), seen.standard.end()).size(), 3u);
    for (const std::int64_t value : seen.standard) {
        ASSERT_TRUE(seen.all.contains(value)) << value;
        EXPECT_EQ(seen.all.at(value), "File");
    }
}

TEST(inheritance, gives_no_more_than_the_system_does) {
    // Once with something else of the library alive: another child and its pipes.
    boost::asio::io_context context;
    const QV::piped_process another(context.get_executor(), helper_program("hang"), {});
    const report bare = list_handles_of_bare_child();
    ASSERT_EQ(bare.standard.size(), 3u);
    EXPECT_EQ(types(list_handles(plain())), types(bare));
}

TEST(inheritance, gives_listed_handles_and_nothing_else) {
    const report bare = list_handles(plain());
    // A hundred inheritable handles that are not listed, two that are.
    std::vector<QV::pipe::handle> unlisted;
    for (int i = 0; i < 100; ++i)
        unlisted.push_back(inheritable_event());
    auto options = plain();
    std::vector<std::int64_t> listed;
    for (int i = 0; i < 2; ++i) {
        options.inherited_handles.emplace_back(CreateMutexW(nullptr, FALSE, nullptr));
        listed.push_back(number(options.inherited_handles.back().get()));
    }
    const report seen = list_handles(std::move(options));
    std::multiset<std::string> expected = types(bare);
    for (const std::int64_t value : listed) {
        ASSERT_TRUE(seen.all.contains(value)) << value;
        EXPECT_EQ(seen.all.at(value), "Mutant");
        expected.insert("Mutant");
    }
    EXPECT_EQ(types(seen), expected);
}

TEST(inheritance, keeps_children_started_at_once_apart) {
    const std::multiset<std::string> expected = types(list_handles(plain()));
    constexpr int threads = 4;
    constexpr int rounds = 5;
    std::vector<std::multiset<std::string>> seen(threads * rounds);
    std::vector<std::thread> running;
    for (int t = 0; t < threads; ++t) {
        running.emplace_back([&seen, t] {
            for (int i = 0; i < rounds; ++i)
                seen[static_cast<std::size_t>(t * rounds + i)] = types(list_handles(plain()));
        });
    }
    for (std::thread& thread : running)
        thread.join();
    for (const auto& one : seen)
        EXPECT_EQ(one, expected);
}

} // namespace

#pragma once

#include <QVSharedSupport/piped_process.h>

#include "helper_programs.h"

#include <boost/asio/buffer.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/read.hpp>

#include <optional>
#include <string>
#include <utility>

/// What a child said and how it ended.
struct child_outcome {
    std::string output;
    std::string error;
    std::optional<int> code;
};

/// Reads both outputs of `child` to their end, at the same time, and waits for it.
inline child_outcome finish_child(boost::asio::io_context& context, QV::piped_process& child) {
    child_outcome outcome;
    const auto ignore = [](boost::system::error_code, std::size_t) {};
    boost::asio::async_read(child.standard_output, boost::asio::dynamic_buffer(outcome.output), ignore);
    boost::asio::async_read(child.standard_error, boost::asio::dynamic_buffer(outcome.error), ignore);
    context.restart();
    context.run();
    child.process.wait();
    outcome.code = child.process.get_error_code();
    return outcome;
}

/// Starts a child, closes its input, and finishes it.
inline child_outcome run_child(QV::piped_process::options options) {
    boost::asio::io_context context;
    QV::piped_process child(context.get_executor(), std::move(options));
    child.standard_input.close();
    return finish_child(context, child);
}

inline child_outcome run_child(const std::string& helper, std::vector<std::string> arguments) {
    return run_child(QV::piped_process::make_options(helper_program(helper), std::move(arguments), {}));
}

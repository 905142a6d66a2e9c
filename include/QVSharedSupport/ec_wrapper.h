#pragma once

#include <boost/system/error_code.hpp>
#include <boost/system/system_error.hpp>

namespace QV::asio_helpers {

/// How an operation reports failure: through the caller's `error_code`, or by throwing.
///
/// An operation that comes in both forms is written once, taking an `ec_wrapper`:
///
///     void open(const path& p, ec_wrapper ec);
///     void open(const path& p) { open(p, ec_wrapper::throwing()); }
///     void open(const path& p, error_code& ec) { open(p, ec_wrapper(ec)); }
///
/// It refers to the caller's code and must not outlive it. Copying copies the reference.
class ec_wrapper {
public:
    /// Reports into `ec`, which is cleared at once: an operation that does not fail leaves success behind.
    ec_wrapper(boost::system::error_code& ec) noexcept : code_(&ec) { ec.clear(); }
    /// Reports by throwing `boost::system::system_error`.
    [[nodiscard]] static ec_wrapper throwing() noexcept { return ec_wrapper(); }

    /// Whether a failure is thrown.
    [[nodiscard]] bool throws() const noexcept { return code_ == nullptr; }

    /// Reports `ec`; a success is stored, never thrown.
    /// @param what what the exception's text begins with: the name of the operation, or a whole sentence.
    ///     Anything that `boost::system::system_error` takes; it is only read when something is thrown.
    /// @throws boost::system::system_error
    template <class Text>
    void report(const boost::system::error_code& ec, const Text& what) const {
        if (code_)
            *code_ = ec;
        else if (ec)
            throw boost::system::system_error(ec, what);
    }

private:
    ec_wrapper() noexcept = default;

    boost::system::error_code* code_ = nullptr;
};

} // namespace QV::asio_helpers

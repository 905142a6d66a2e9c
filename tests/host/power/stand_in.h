#pragma once

#include <QVSharedSupport/filesystem.h>

#include <string>

/// A program in the place of the system's msinfo32. Under Wine only, in a prefix that belongs to the tests.
namespace stand_in {

/// Whether the system's folder may be touched: this is no real Windows.
bool may_be_installed();

/// Puts the stand-in into the system's folder while it lives, and the original back afterwards.
class installed {
public:
    /// @throws std::runtime_error
    installed();
    installed(const installed&) = delete;
    installed& operator=(const installed&) = delete;
    ~installed();
};

/// Tells the stand-ins started from now on what to do, and hears of them.
class director {
public:
    explicit director(const std::wstring& behaviour);
    director(const director&) = delete;
    director& operator=(const director&) = delete;
    ~director();

    /// The event of a stand-in's having told its number.
    void* ready() const { return ready_; }
    /// A handle of the process that told its number last; the caller closes it. Null if there is none.
    void* open_process() const;

private:
    void* mapping_;
    void* view_;
    void* ready_;
};

} // namespace stand_in

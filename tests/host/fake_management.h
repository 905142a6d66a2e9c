#pragma once

#include "hardware_info.h"

#include <windows.h>

#include <optional>
#include <string>
#include <vector>

/// A management service of the tests' own, which fails where it is told to and counts what it has handed out.
namespace fake_management {

/// What fails.
enum class step {
    nothing,
    initialize,
    create_locator,
    first_string,
    connect,
    set_proxy_blanket,
    second_string,
    third_string,
    query,
    next_row, ///< the one after all rows; until then all goes well
    read_manufacturer,
    read_model,
};

/// A property of a row: text, or the type of a value that is none.
struct property {
    std::optional<std::wstring> text = {};
    VARTYPE type = VT_EMPTY;
};

struct row {
    property manufacturer;
    property model;
};

/// What the service does.
struct script {
    step failing = step::nothing;
    std::vector<row> rows = {};
    bool hands_out_despite_failure = false; ///< a call that fails fills in its result all the same
    HRESULT initialized = S_OK;             ///< what initialising COM answers when it does not fail
};

/// What is still out, and what happened.
struct counts {
    int objects = 0;            ///< references
    int strings = 0;            ///< BSTRs made by the caller
    int variants = 0;           ///< VARIANTs filled in and not cleared
    int initialized = 0;        ///< COM set up and not taken down
    int initializations = 0;    ///< attempts to set COM up
    int rows_read = 0;          ///< rows that were handed out
    int objects_at_the_end = 0; ///< references that were out when COM was taken down
};

/// Starts over with a script.
void play(script what);
/// What is out now.
const counts& counted();
/// The calls that lead to this service.
extern const QV::com_calls calls;

} // namespace fake_management

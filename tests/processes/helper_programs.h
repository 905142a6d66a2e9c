#pragma once

#include <QVSharedSupport/filesystem.h>

#include <string>

/// The child program `name` of the tests, which lies beside this one.
QV::filesystem::path helper_program(const std::string& name);

/// How many handles this process has open.
unsigned long open_handles();

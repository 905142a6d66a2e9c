#pragma once

#include <QVSharedSupport/filesystem.h>

#include <windows.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

/// A folder of the test's own, gone at its end.
struct temporary_folder {
    temporary_folder() { std::filesystem::create_directories(root); }
    ~temporary_folder() {
        std::error_code ignored;
        std::filesystem::remove_all(root, ignored);
    }
    temporary_folder(const temporary_folder&) = delete;
    temporary_folder& operator=(const temporary_folder&) = delete;

    /// The path of a file in it.
    QV::filesystem::path path(const std::wstring& name) const { return (root / name).native(); }
    /// Writes a file and gives its path.
    QV::filesystem::path make(const std::wstring& name, const std::string& text) const {
        std::ofstream(root / name, std::ios::binary) << text;
        return path(name);
    }
    /// What is in a file.
    std::string read(const std::wstring& name) const {
        std::ifstream file(root / name, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    std::filesystem::path root =
        std::filesystem::temp_directory_path() / ("qv files " + std::to_string(GetCurrentProcessId()));
};

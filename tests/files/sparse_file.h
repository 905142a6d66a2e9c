#pragma once

#include "file_helpers.h"
#include "temporary_folder.h"

#include <winioctl.h>

/// Makes a file "sparse" of `size` bytes that takes no room on the disk.
inline QV::filesystem::path make_sparse(const temporary_folder& folder, long long size) {
    const auto path = folder.path(L"sparse");
    // Not opened for overlapped operations: the calls here are to have ended when they return.
    const HANDLE handle =
        CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    DWORD returned = 0;
    DeviceIoControl(handle, FSCTL_SET_SPARSE, nullptr, 0, nullptr, 0, &returned, nullptr);
    FILE_END_OF_FILE_INFO end = {};
    end.EndOfFile.QuadPart = size;
    EXPECT_TRUE(SetFileInformationByHandle(handle, FileEndOfFileInfo, &end, sizeof(end))) << GetLastError();
    CloseHandle(handle);
    return path;
}

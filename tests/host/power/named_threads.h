#pragma once

#include <string>
#include <vector>

/// The threads of this process whose description is `name`, as handles that the caller closes.
std::vector<void*> threads_named(const std::wstring& name);

/// How many of them have not ended.
int count_threads_named(const std::wstring& name);

#pragma once

/// The calling thread's last error, set and read as the system does; one source for each side.
namespace test {

void set_last_error(unsigned long code);
unsigned long last_error();

} // namespace test

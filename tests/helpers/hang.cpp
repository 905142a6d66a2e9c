// Says "ready" on its standard output and then waits for ever: whoever wants it to end must end it.
#include "standard_streams.h"

int wmain() {
    helpers::write_out("ready\n");
    WaitForSingleObject(CreateEventW(nullptr, TRUE, FALSE, nullptr), INFINITE);
    return 0;
}

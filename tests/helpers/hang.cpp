// hang [EVENT]: sets the named event, says "ready" on its standard output and then waits for ever: whoever
// wants it to end must end it.
#include "standard_streams.h"

int wmain(int argc, wchar_t** argv) {
    if (argc > 1) SetEvent(OpenEventW(EVENT_MODIFY_STATE, FALSE, argv[1]));
    helpers::write_out("ready\n");
    WaitForSingleObject(CreateEventW(nullptr, TRUE, FALSE, nullptr), INFINITE);
    return 0;
}

#include "platform/program.h"

#include "platform/posix/events.h"
#include "platform/window_model/display.h"

#include <cstdio>

bool program_start(int argc, char **argv)
{
    if (!events_start()) {
        perror("cannot wait for events");
        return false;
    }
    return display_start(argc, argv);
}

void program_end()
{
    display_stop();
}

// How much a line matters to who runs the server. A journal keeps it as the line's
// priority; everywhere else a line is its text alone.
#pragma once

enum Weight {
    WEIGHT_FAILURE = 3, // mail is refused or lost through no fault of its client
    WEIGHT_WARNING = 4, // somebody was refused, or something is not as it should be
    WEIGHT_NOTE = 6,
};

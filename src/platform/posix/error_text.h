// The system's reasons in English, whatever the locale, below the seam.
#pragma once

#include <cstring>

inline const char *error_text(int error)
{
    const char *text = strerrordesc_np(error);
    return text != nullptr ? text : "unknown reason";
}

// Text from outside as a display shows it: what it is, not what it would do.
#pragma once

#include <string>

// Adds the text to `shown`. The bytes of control characters (other than the tab), of
// characters that cannot be seen or turn the direction of writing, and of what is no
// UTF-8 become digits (\x1b); all else stays. The result is UTF-8.
void append_shown_text(std::string *shown, const char *text);

// A reserve of memory, so that what has begun can be finished when there is no more.
#pragma once

// Whether memory has run short: the reserve is in use, and nothing new should begin. Over
// as soon as the reserve can be filled again.
bool memory_is_short();

// Memory that is set aside, so that what has begun can be finished when there is no more.
#pragma once

// Whether memory has run short: what was set aside is in use. Nothing new should begin
// then. Over as soon as as much can be set aside again.
bool memory_is_short();

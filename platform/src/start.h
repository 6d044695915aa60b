#pragma once

namespace platform {

// Starts the platform and the client, if that hasn't been done. The first instruction that traps may come
// before this library's constructor: another library's may call the program's malloc.
void start_platform();

// The same, but only if the program's libraries are to be emulated.
void start_platform_for_libraries();

} // namespace platform

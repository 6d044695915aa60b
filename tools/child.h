#pragma once

#include <functional>

namespace sverun {

// Runs `work` in a child process, which it must end or turn into another program, and waits for its
// end. Meanwhile a signal that is sent to this process is sent on; one from the terminal has reached
// the child already. Returns the child's wait status.
int run_in_child(const std::function<void()> &work);

// Ends this process as a process with this wait status has ended.
[[noreturn]] void end_like(int wait_status);

} // namespace sverun

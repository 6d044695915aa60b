#pragma once

#include <stdexcept>
#include <string>

namespace sverun {

// Exit statuses of sverun's own. Where the program was started, its status or signal takes their
// place.
enum exit_status : int {
    status_usage = 2,        // the command line is wrong
    status_cannot_run = 126, // as in shells: what is to run is there, and can't be run
    status_not_found = 127,  // as in shells: something that is needed to run it is not there
};

// Why nothing is started. The text is one line, without sverun's name and without a full stop.
struct refusal : std::runtime_error {
    exit_status status;

    refusal(exit_status why, const std::string &text) : std::runtime_error(text), status(why) {}
};

} // namespace sverun

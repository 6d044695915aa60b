#pragma once

#include <string>
#include <sys/types.h>

namespace sverun {

// Where a profile goes: one of the standard streams, or a file. A file is replaced as a whole, and
// stays as it is if there is no profile; what can't be replaced, like a device, is written in place.
class profile_output {
public:
    // Empty: the standard error stream; "-": standard output. Throws a refusal if it can't be
    // written, and changes nothing.
    explicit profile_output(const std::string &name);

    // Of the terminal that it is; 0 if it is none.
    size_t columns() const;

    // Returns 0, or the error. Then a file that was to be replaced is as before.
    int write(const std::string &text) const;

    // What users call it.
    std::string name() const;

private:
    int replace_file(const std::string &text) const;

    std::string name_;
    int stream_ = -1;      // what is written in place
    bool empties_ = false; // before that
    std::string replaced_; // the file else
    mode_t mode_ = 0;      // that it gets
};

} // namespace sverun

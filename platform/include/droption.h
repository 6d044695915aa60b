#pragma once

// The option parser, for clients that declare no option: every word before "--" is unknown.

#include <cstring>
#include <string>

enum droption_scope_t {
    DROPTION_SCOPE_CLIENT = 1,
    DROPTION_SCOPE_FRONTEND = 2,
    DROPTION_SCOPE_ALL = DROPTION_SCOPE_CLIENT | DROPTION_SCOPE_FRONTEND,
};

class droption_parser_t {
public:
    // Parses argv from index 1. On success `*last_index` is the first word that was not looked at.
    // On failure it is the word at fault, and `*error` says why. Both pointers may be null.
    static bool parse_argv(unsigned int /*scope*/, int argc, const char *argv[], std::string *error,
                           int *last_index) {
        int index = 1;
        bool known = true;
        if (index < argc) {
            known = std::strcmp(argv[index], "--") == 0;
            if (known)
                index++;
            else if (error)
                *error = std::string("Unknown option: ") + argv[index];
        }
        if (last_index)
            *last_index = index;
        return known;
    }
};

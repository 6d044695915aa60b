#pragma once

// The option parser, as far as clients use it: options whose value is the next word, given as -name
// or --name. Every other word before "--" is unknown. The texts that an option is made from, and the words that are
// parsed, must live as long as it does: nothing is copied before somebody asks.

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
        const char *fault = nullptr;
        for (; index < argc && !fault; index++) {
            if (std::strcmp(argv[index], "--") == 0) {
                index++;
                break;
            }
            droption_parser_t *option = find(argv[index]);
            if (!option)
                fault = "Unknown option: ";
            else if (index + 1 == argc)
                fault = "Value missing for option: ";
            else
                option->set(argv[++index]);
        }
        if (fault) {
            index--;
            if (error)
                *error = std::string(fault) + argv[index];
        }
        if (last_index)
            *last_index = index;
        return !fault;
    }

    bool specified() const { return specified_; }

protected:
    explicit droption_parser_t(const char *name) : name_(name), next_(first_) { first_ = this; }
    ~droption_parser_t() = default; // options are static objects
    droption_parser_t(const droption_parser_t &) = delete;
    droption_parser_t &operator=(const droption_parser_t &) = delete;

    virtual void set(const char *word) = 0;

    bool specified_ = false;

private:
    static droption_parser_t *find(const char *word) {
        if (*word != '-')
            return nullptr;
        word += word[1] == '-' ? 2 : 1;
        droption_parser_t *option = first_;
        while (option && std::strcmp(option->name_, word) != 0)
            option = option->next_;
        return option;
    }

    static inline droption_parser_t *first_ = nullptr;
    const char *name_;
    droption_parser_t *next_;
};

template <typename T>
class droption_t;

template <>
class droption_t<std::string> : public droption_parser_t {
public:
    droption_t(unsigned int /*scope*/, const char *name, const char *default_value,
               const char * /*short description*/, const char * /*long description*/)
        : droption_parser_t(name), value_(default_value) {}

    std::string get_value() const { return value_; }

private:
    void set(const char *word) override {
        specified_ = true;
        value_ = word;
    }

    const char *value_;
};

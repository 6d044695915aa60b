// Emulated instructions in libraries: of one that the program is linked with, in its constructor and in
// functions; and of two, the arguments, that are loaded in turns at the same place. What libraries hear of
// the processor.
#include "emulated_work.h"

#include <dlfcn.h>
#include <set>

extern "C" {
extern int needed_has_sve, needed_vector_bytes;
extern uint32_t needed_sum;
uint32_t needed_chosen(uint32_t value);
}

int main(int argc, char **argv) {
    if (argc != 3)
        return 2;
    printf("in the constructor: %u, SVE %d, length %d\n", needed_sum, needed_has_sve,
           needed_vector_bytes);
    printf("chosen: %u\n", needed_chosen(10));

    std::set<void *> places;
    for (uint32_t i = 0; i < 20; i++) {
        const uint32_t number = i % 2 ? 5 : 3;
        void *library = dlopen(argv[1 + i % 2], RTLD_NOW);
        auto *add_number =
            library ? reinterpret_cast<uint32_t (*)(uint32_t)>(dlsym(library, "add_number"))
                    : nullptr;
        EXPECT(add_number);
        const uint32_t times = add_number ? i / 2 % 4 : 0; // and once in the constructor
        for (uint32_t time = 0; time < times; time++)
            EXPECT(add_number(i) == i + number + 100 + number);
        places.insert(reinterpret_cast<void *>(add_number));
        EXPECT_WORK(i, 10);
        if (library)
            dlclose(library);
    }
    EXPECT(places.size() < 20); // else none has taken the place of another
    return verdict("loaded in turns");
}

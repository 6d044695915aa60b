// A heap for clients alone: the program may bring its own malloc with instructions that are only just being
// emulated. Clients use it while they are loaded and hardly later, so nothing is given back. And a list of
// static objects to destroy, since the C library's takes memory from that malloc when it grows.
#include <pthread.h>
#include <stddef.h>
#include <stdint.h>
#include <string.h>
#include <sys/mman.h>

enum { alignment = 16, piece_bytes = 256 << 10 };

static pthread_mutex_t lock = PTHREAD_MUTEX_INITIALIZER;
static char *next, *end;

// In front of each block stands its size.
static size_t *size_of(void *block) {
    return (size_t *)((char *)block - alignment);
}

void *malloc(size_t size) {
    if (size > SIZE_MAX / 2)
        return NULL;
    const size_t needed = ((size + alignment - 1) & ~(size_t)(alignment - 1)) + alignment;
    void *block = NULL;
    pthread_mutex_lock(&lock);
    if (needed > (size_t)(end - next)) {
        const size_t bytes = needed > piece_bytes ? needed : piece_bytes;
        char *piece = mmap(NULL, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (piece != MAP_FAILED) {
            next = piece;
            end = piece + bytes;
        }
    }
    if (needed <= (size_t)(end - next)) {
        block = next + alignment;
        next += needed;
        *size_of(block) = size;
    }
    pthread_mutex_unlock(&lock);
    return block;
}

void free(void *block) {
    (void)block;
}

void *calloc(size_t count, size_t size) {
    size_t bytes;
    return __builtin_mul_overflow(count, size, &bytes) ? NULL
                                                       : malloc(bytes); // mappings are zeroed
}

void *realloc(void *block, size_t size) {
    void *new = malloc(size);
    if (new &&block)
        memcpy(new, block, *size_of(block) < size ? *size_of(block) : size);
    return new;
}

// ---- Static objects -----------------------------------------------------------------------------

static struct exit_function {
    void (*function)(void *);
    void *argument;
    struct exit_function *next;
} * exit_functions;

int __cxa_atexit(void (*function)(void *), void *argument, void *library);
int __cxa_atexit(void (*function)(void *), void *argument, void *library) {
    (void)library; // the one that this is linked into
    struct exit_function *added = malloc(sizeof *added);
    if (!added)
        return -1;
    *added = (struct exit_function){function, argument, exit_functions};
    exit_functions = added;
    return 0;
}

// The early priority puts it behind what the C library calls when the client's library ends, the exit event
// among it.
__attribute__((destructor(101))) static void destroy_static_objects(void) {
    for (struct exit_function *next; exit_functions; exit_functions = next) {
        next = exit_functions->next;
        exit_functions->function(exit_functions->argument);
    }
}

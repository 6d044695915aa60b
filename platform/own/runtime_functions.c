// A heap for clients alone: the program may bring its own malloc with instructions that are only just being
// emulated. Blocks have sizes that are powers of two; those that are given back wait in a list for each size, and large
// ones go back to the system. And a list of static objects to destroy, since the C library's takes memory from that
// malloc when it grows.
#include <pthread.h>
#include <stddef.h>
#include <stdint.h>
#include <string.h>
#include <sys/mman.h>

enum { alignment = 16, smallest_class = 5, classes = 13, piece_bytes = 256 << 10 };

static pthread_mutex_t lock = PTHREAD_MUTEX_INITIALIZER;
static char *next, *end; // of the piece that is being cut up

// In front of each block. Its size counts, this included.
struct header {
    size_t size;
    struct header *next; // of those that were given back
};
_Static_assert(sizeof(struct header) == alignment, "blocks are aligned behind their headers");

static struct header *given_back[classes]; // by size, the powers of two from smallest_class on

static struct header *map_pages(size_t size) {
    void *pages = mmap(NULL, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    return pages == MAP_FAILED ? NULL : pages;
}

void *malloc(size_t size) {
    if (size > SIZE_MAX / 2)
        return NULL;
    unsigned class = 0;
    while (class < classes && (size_t)1 << (smallest_class + class) < size + sizeof(struct header))
        class ++;
    if (class == classes) {
        struct header *block = map_pages(size + sizeof(struct header));
        if (!block)
            return NULL;
        block->size = size + sizeof(struct header);
        return block + 1;
    }
    const size_t needed = (size_t)1 << (smallest_class + class);
    pthread_mutex_lock(&lock);
    struct header *block = given_back[class];
    if (block) {
        given_back[class] = block->next;
    } else {
        if (needed > (size_t)(end - next)) {
            char *piece = (char *)map_pages(piece_bytes);
            if (piece) {
                next = piece;
                end = piece + piece_bytes;
            }
        }
        if (needed <= (size_t)(end - next)) {
            block = (struct header *)next;
            block->size = needed;
            next += needed;
        }
    }
    pthread_mutex_unlock(&lock);
    return block ? block + 1 : NULL;
}

void free(void *memory) {
    if (!memory)
        return;
    struct header *block = (struct header *)memory - 1;
    if (block->size > (size_t)1 << (smallest_class + classes - 1)) {
        munmap(block, block->size);
        return;
    }
    const unsigned class = (unsigned)__builtin_ctzl(block->size) - smallest_class;
    pthread_mutex_lock(&lock);
    block->next = given_back[class];
    given_back[class] = block;
    pthread_mutex_unlock(&lock);
}

void *calloc(size_t count, size_t size) {
    size_t bytes;
    if (__builtin_mul_overflow(count, size, &bytes))
        return NULL;
    void *memory = malloc(bytes);
    return memory ? memset(memory, 0, bytes) : NULL;
}

void *realloc(void *memory, size_t size) {
    void *new = malloc(size);
    if (new &&memory) {
        const size_t old = ((struct header *)memory - 1)->size - sizeof(struct header);
        memcpy(new, memory, old < size ? old : size);
        free(memory);
    }
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

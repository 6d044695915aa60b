// The C library's memory and string functions, for the platform and its clients alone: a program may bring
// its own memcpy with instructions that are only just being emulated. Hidden, so that nothing can stand in
// front of them. Compiled so that no loop becomes a call of the function that it is in.
#include <stddef.h>
#include <stdint.h>

typedef uint8_t chunk __attribute__((vector_size(16), aligned(1), may_alias));

void *memcpy(void *restrict to, const void *restrict from, size_t size) {
    uint8_t *t = to;
    const uint8_t *f = from;
    if (size < sizeof(chunk)) {
        while (size--)
            *t++ = *f++;
        return to;
    }
    const uint8_t *f_end = f + size;
    uint8_t *t_end = t + size;
    typedef struct {
        chunk part[4];
    } line;
    for (; (size_t)(f_end - f) > sizeof(line); f += sizeof(line), t += sizeof(line))
        *(line *)t = *(const line *)f;
    for (; (size_t)(f_end - f) > sizeof(chunk); f += sizeof(chunk), t += sizeof(chunk))
        *(chunk *)t = *(const chunk *)f;
    // The last one may overlap the one before.
    *(chunk *)(t_end - sizeof(chunk)) = *(const chunk *)(f_end - sizeof(chunk));
    return to;
}

void *memmove(void *to, const void *from, size_t size) {
    uint8_t *t = to;
    const uint8_t *f = from;
    const uintptr_t up = (uintptr_t)t - (uintptr_t)f, down = (uintptr_t)f - (uintptr_t)t;
    if (up >= size && down >= size)
        return memcpy(to, from, size);
    if (up >= size)
        for (size_t i = 0; i < size; i++)
            t[i] = f[i];
    else
        while (size--)
            t[size] = f[size];
    return to;
}

void *memset(void *to, int value, size_t size) {
    uint8_t *t = to;
    const chunk filled = (chunk){0} + (uint8_t)value;
    for (; size >= sizeof(chunk); size -= sizeof(chunk), t += sizeof(chunk))
        *(chunk *)t = filled;
    while (size--)
        *t++ = (uint8_t)value;
    return to;
}

int memcmp(const void *a, const void *b, size_t size) {
    const uint8_t *x = a, *y = b;
    for (size_t i = 0; i < size; i++)
        if (x[i] != y[i])
            return x[i] - y[i];
    return 0;
}

void *memchr(const void *memory, int value, size_t size) {
    const uint8_t *m = memory;
    for (; size--; m++)
        if (*m == (uint8_t)value)
            return (void *)m;
    return NULL;
}

size_t strlen(const char *text) {
    const char *end = text;
    while (*end)
        end++;
    return (size_t)(end - text);
}

int strncmp(const char *a, const char *b, size_t size) {
    for (; size--; a++, b++)
        if (*a != *b || !*a)
            return (uint8_t)*a - (uint8_t)*b;
    return 0;
}
int strcmp(const char *a, const char *b) {
    return strncmp(a, b, SIZE_MAX);
}

char *strchr(const char *text, int value) {
    for (;; text++) {
        if (*text == (char)value)
            return (char *)text;
        if (!*text)
            return NULL;
    }
}
char *strrchr(const char *text, int value) {
    const char *found = NULL;
    do
        if (*text == (char)value)
            found = text;
    while (*text++);
    return (char *)found;
}

size_t strspn(const char *text, const char *accepted) {
    size_t length = 0;
    while (text[length] && strchr(accepted, text[length]))
        length++;
    return length;
}

char *strncpy(char *restrict to, const char *restrict from, size_t size) {
    size_t i = 0;
    for (; i < size && from[i]; i++)
        to[i] = from[i];
    memset(to + i, 0, size - i);
    return to;
}

// Statistics of a text, drawn as bars: how often each letter occurs, and how long the words are. This is
// plain C; the compiler vectorises the loops over the text for SVE.
//
//     letters FILE
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>

enum { longest = 12 };

static uint32_t count_byte(const uint8_t *text, size_t n, uint8_t mask, uint8_t byte) {
    uint32_t count = 0;
    for (size_t i = 0; i < n; i++)
        count += (text[i] | mask) == byte;
    return count;
}

// Sets lengths[k] to the number of words of k letters or more. There must be room to read `longest` bytes
// before and after the text, which are no letters.
static void measure_words(uint32_t *lengths, const uint8_t *text, size_t n) {
    uint8_t *const letter = calloc(n + 2 * longest, 1), *const word = calloc(n, 1);
    const uint8_t *const from = text - longest;
    for (size_t i = 0; i < n + 2 * longest; i++)
        letter[i] = (uint8_t)((from[i] | 0x20) - 'a') < 26;
    for (size_t i = 0; i < n; i++) // is 1 where a word begins
        word[i] = letter[longest + i] & ~letter[longest + i - 1];
    for (size_t k = 1; k <= longest; k++) {
        uint32_t count = 0;
        for (size_t i = 0; i < n; i++) {
            count += word[i];
            word[i] &= letter[longest + i + k]; // has one more letter
        }
        lengths[k] = count;
    }
    free(letter);
    free(word);
}

static void draw_bar(uint32_t count, uint32_t most) {
    printf("%7u ", (unsigned)count);
    for (uint64_t eighths = most ? (uint64_t)count * 400 / most : 0; eighths > 0;) {
        const unsigned part = eighths > 8 ? 8 : (unsigned)eighths;
        printf("\xe2\x96%c", 0x90 - part); // from one eighth of a block to a whole one
        eighths -= part;
    }
    printf("\n");
}

int main(int argc, char **argv) {
    FILE *const file = argc == 2 ? fopen(argv[1], "rb") : NULL;
    if (!file) {
        fprintf(stderr, "usage: letters FILE\n");
        return 2;
    }
    fseek(file, 0, SEEK_END);
    const size_t room = (size_t)ftell(file);
    rewind(file);
    uint8_t *const text = (uint8_t *)calloc(room + 2 * longest, 1) + longest;
    const size_t n = fread(text, 1, room, file);
    fclose(file);

    uint32_t letters[26], most = 0, words[longest + 2] = {0};
    for (unsigned i = 0; i < 26; i++) {
        letters[i] = count_byte(text, n, 0x20, (uint8_t)('a' + i));
        most = letters[i] > most ? letters[i] : most;
    }
    measure_words(words, text, n);

    printf("%zu bytes, %u lines, %u words\n\n", n, (unsigned)count_byte(text, n, 0, '\n'),
           (unsigned)words[1]);
    for (unsigned i = 0; i < 26; i++) {
        printf("     %c ", 'a' + i);
        draw_bar(letters[i], most);
    }
    printf("\nletters of a word\n");
    most = 0;
    for (unsigned k = 1; k <= longest;
         k++) // from "k or more" to "k"; the last takes all longer ones
        most = words[k] - words[k + 1] > most ? words[k] - words[k + 1] : most;
    for (unsigned k = 1; k <= longest; k++) {
        printf("%6u%s", k, k == longest ? "+" : " ");
        draw_bar(words[k] - words[k + 1], most);
    }
    return 0;
}

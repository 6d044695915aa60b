#include "sve/permute/kernels.h"

#include "sve/core/lanes.h"
#include "sve/permute/shuffles.h"

using namespace sve;

// Half a chunk of a row, and zeros: a load fills a vector register in this way by itself.
template <class T>
static chunk<T> load_half_chunk(const uint8_t *row, unsigned index) {
    chunk<uint64_t> half = {};
    std::memcpy(&half, row + index * (sve_chunk_bytes / 2), sve_chunk_bytes / 2);
    return reinterpret_cast<chunk<T>>(half);
}

// A chunk of the result takes half a chunk of either source, from byte `from` on.
static void zip(char *result, const char *n, const char *m, element_size size, unsigned from) {
    const auto *n_half = reinterpret_cast<const uint8_t *>(n) + from;
    const auto *m_half = reinterpret_cast<const uint8_t *>(m) + from;
    with_lanes(unsigned_lanes{}, size, [&]<class T>() {
        write_row<T>(reinterpret_cast<uint8_t *>(result), [&](unsigned i) {
            return shuffle<T>(load_half_chunk<T>(n_half, i), load_half_chunk<T>(m_half, i),
                              [](unsigned lane) { return lane / 2 + lane % 2 * chunk_lanes<T>; });
        });
    });
}

void sve_zip1(char *result, char *n, char *m, element_size size) {
    zip(result, n, m, size, 0);
}
void sve_zip2(char *result, char *n, char *m, element_size size) {
    zip(result, n, m, size, sve_vector_bytes / 2);
}

void sve_uzp1(char *result, char *n, char *m, element_size size) {
    with_lanes(unsigned_lanes{}, size, [&]<class T>() {
        write_row<T>(reinterpret_cast<uint8_t *>(result), [&](unsigned i) {
            return unzip<T, 0>(reinterpret_cast<const uint8_t *>(n),
                               reinterpret_cast<const uint8_t *>(m), i);
        });
    });
}

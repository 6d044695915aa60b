// Sorts keys by partition: lanes on either side of the pivot are compacted and stored together. What fits
// into one vector is sorted by rank: each lane counts the keys that go before its own, and is scattered to
// that place. Sizes from 0 to beyond three vectors, long ones, and parts of one array by four threads.
#include "program.h"

#include <algorithm>
#include <thread>
#include <vector>

template <typename Key>
constexpr bool is_wide = sizeof(Key) == 8;

template <typename Key>
size_t lanes() {
    return is_wide<Key> ? svcntd() : svcntw();
}

template <typename Key>
svbool_t lanes_from(size_t first, size_t end) {
    if constexpr (is_wide<Key>)
        return svwhilelt_b64_u64(first, end);
    else
        return svwhilelt_b32_u64(first, end);
}

template <typename Key>
size_t count(svbool_t lanes) {
    if constexpr (is_wide<Key>)
        return svcntp_b64(lanes, lanes);
    else
        return svcntp_b32(lanes, lanes);
}

template <typename Key>
auto lane_numbers() {
    if constexpr (is_wide<Key>)
        return svindex_u64(0, 1);
    else
        return svindex_u32(0, 1);
}

template <typename Key>
void sort_one_vector(Key *keys, size_t n) {
    const svbool_t all = lanes_from<Key>(0, n);
    const auto own = svld1(all, keys);
    const auto number = lane_numbers<Key>();
    auto rank = svsub_x(all, number, number);
    for (size_t i = 0; i < n; i++) {
        const svbool_t after_equal = svcmpgt(svcmpeq(all, own, keys[i]), number, i);
        const svbool_t after = svorr_z(all, svcmpgt(all, own, keys[i]), after_equal);
        rank = svadd_m(after, rank, 1);
    }
    svst1_scatter_index(all, keys, rank, own);
}

// `spare` has room for n keys. What is less than the pivot stays in place, since no more is stored than was
// loaded; the greater ones wait in `spare`.
template <typename Key>
void sort(Key *keys, Key *spare, size_t n) {
    if (n <= lanes<Key>()) {
        if (n)
            sort_one_vector(keys, n);
        return;
    }
    const Key pivot = std::max(std::min(keys[0], keys[n / 2]),
                               std::min(std::max(keys[0], keys[n / 2]), keys[n - 1]));
    size_t less = 0, greater = 0;
    for (size_t i = 0; i < n; i += lanes<Key>()) {
        const svbool_t all = lanes_from<Key>(i, n);
        const auto here = svld1(all, keys + i);
        const svbool_t is_less = svcmplt(all, here, pivot), is_greater = svcmpgt(all, here, pivot);
        const size_t less_here = count<Key>(is_less), greater_here = count<Key>(is_greater);
        svst1(lanes_from<Key>(0, less_here), keys + less, svcompact(is_less, here));
        svst1(lanes_from<Key>(0, greater_here), spare + greater, svcompact(is_greater, here));
        less += less_here;
        greater += greater_here;
    }
    std::fill(keys + less, keys + n - greater, pivot);
    std::copy(spare, spare + greater, keys + n - greater);
    sort(keys, spare, less);
    sort(keys + n - greater, spare, greater);
}

template <typename Key>
void check(const char *what, const Key *keys, const std::vector<Key> &expected) {
    if (!std::equal(expected.begin(), expected.end(), keys))
        fail("not in order");
    const size_t n = expected.size();
    printf("%s %zu: %08x", what, n, checksum(0, keys, n * sizeof(Key)));
    for (size_t i = n / 3; i < n; i += n / 3 + 1)
        printf(" %llx", static_cast<unsigned long long>(keys[i]));
    printf("\n");
}

template <typename Key>
void sort_all(const char *name, size_t size) {
    constexpr size_t threads = 4;
    const size_t most = size ? size : 6000;
    const guarded keys_buffer = make_guarded(most * sizeof(Key)),
                  spare_buffer = make_guarded(most * sizeof(Key));
    const auto sort_copy = [&](const char *what, std::vector<Key> values) {
        Key *const keys = reinterpret_cast<Key *>(keys_buffer.end) - values.size();
        std::copy(values.begin(), values.end(), keys);
        sort(keys, reinterpret_cast<Key *>(spare_buffer.end) - values.size(), values.size());
        std::sort(values.begin(), values.end());
        check(what, keys, values);
    };
    printf("%s\n", name);
    std::vector<Key> any(most);
    fill_random(any.data(), most * sizeof(Key), sizeof(Key));
    if (size) {
        sort_copy("any", any);
        return;
    }
    for (size_t n = 0; n <= 3 * lanes<Key>() + 1; n += n < 4 ? 1 : 3)
        sort_copy("any", {any.begin(), any.begin() + n});
    sort_copy("any", any);

    std::vector<Key> few = any, rising = any;
    for (Key &key : few)
        key = static_cast<Key>(key % 5);
    sort_copy("few", few);
    std::sort(rising.begin(), rising.end());
    sort_copy("rising", rising);
    std::reverse(rising.begin(), rising.end());
    sort_copy("falling", rising);

    std::vector<Key> parts = any, spare(most);
    std::vector<std::thread> workers;
    const size_t part = most / threads;
    for (size_t i = 0; i < threads; i++)
        workers.emplace_back([&, i] { sort(&parts[i * part], &spare[i * part], part); });
    for (std::thread &worker : workers)
        worker.join();
    for (size_t i = 0; i < threads; i++)
        std::sort(&any[i * part], &any[i * part] + part);
    check("parts", parts.data(), any);
}

int main(int argc, char **argv) {
    const size_t size = problem_size(argc, argv);
    sort_all<uint32_t>("uint32_t", size);
    sort_all<int32_t>("int32_t", size);
    sort_all<uint64_t>("uint64_t", size);
    sort_all<int64_t>("int64_t", size);
    return 0;
}

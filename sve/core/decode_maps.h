#pragma once

// The decoder is a cascade of 44 maps. A map's name is its key: the bit fields of the word, most
// significant first, high and low bit of a field joined by one underscore, fields by two. The key
// of decode_map__31_21__15_10 is word bits 31:21 with bits 15:10 below them.
//
// One line a map, in the order of construction. The numbers are the map's places in the two
// cascades, that of execute_sve_instruction and that of is_sve. Both go from the widest key to the
// narrowest; among keys of one width the order changes no result, since no word matches two rows.

#include "sve/core/handler.h"

//        key fields                execute  is_sve
#define SVE_DECODE_MAPS(MAP)                                                                       \
    MAP(31_13, 21, 20)                                                                             \
    MAP(31_10, 10, 10)                                                                             \
    MAP(31_21__15_13__4_4, 34, 34)                                                                 \
    MAP(31_13__9_6, 8, 8)                                                                          \
    MAP(31_21__15_10, 29, 29)                                                                      \
    MAP(31_13__4_4, 16, 16)                                                                        \
    MAP(31_20__15_13, 36, 36)                                                                      \
    MAP(31_17__15_13, 22, 27)                                                                      \
    MAP(31_21__15_15, 44, 44)                                                                      \
    MAP(31_21__15_13, 37, 37)                                                                      \
    MAP(31_19__15_10, 19, 19)                                                                      \
    MAP(31_21__15_12, 35, 35)                                                                      \
    MAP(31_23__21_21__15_10, 33, 30)                                                               \
    MAP(31_9__4_4, 5, 4)                                                                           \
    MAP(31_20__15_9__4_4, 14, 15)                                                                  \
    MAP(31_10__4_4, 6, 6)                                                                          \
    MAP(31_20__15_14__9_9__4_4, 31, 33)                                                            \
    MAP(31_14__9_9__4_4, 15, 13)                                                                   \
    MAP(31_0, 1, 1)                                                                                \
    MAP(31_4, 3, 3)                                                                                \
    MAP(31_22__15_13__4_4, 40, 40)                                                                 \
    MAP(31_14__9_9__4_0, 4, 5)                                                                     \
    MAP(31_9__4_0, 2, 2)                                                                           \
    MAP(31_14, 23, 23)                                                                             \
    MAP(31_20__15_14, 38, 38)                                                                      \
    MAP(31_22__15_13, 43, 41)                                                                      \
    MAP(31_9, 7, 7)                                                                                \
    MAP(31_20__15_10, 25, 22)                                                                      \
    MAP(31_13__9_9, 17, 14)                                                                        \
    MAP(31_21__15_10__4_4, 27, 25)                                                                 \
    MAP(31_21__15_11, 30, 31)                                                                      \
    MAP(31_18, 39, 39)                                                                             \
    MAP(31_23__21_13, 24, 24)                                                                      \
    MAP(31_11, 12, 12)                                                                             \
    MAP(31_13__9_8, 11, 11)                                                                        \
    MAP(31_24__21_10, 13, 17)                                                                      \
    MAP(31_21__13_13__4_4, 42, 43)                                                                 \
    MAP(31_24__21_21__17_10, 28, 28)                                                               \
    MAP(31_14__9_9, 18, 21)                                                                        \
    MAP(31_21__15_14, 41, 42)                                                                      \
    MAP(31_21__15_10__4_0, 9, 9)                                                                   \
    MAP(31_24__21_21__18_10, 26, 26)                                                               \
    MAP(31_24__21_21__19_10, 20, 18)                                                               \
    MAP(31_24__21_21__16_10, 32, 32)

#define MAP(fields, execute, is_sve) extern decode_map decode_map__##fields;
SVE_DECODE_MAPS(MAP)
#undef MAP

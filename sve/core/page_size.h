#pragma once

// Bytes of a page of memory, a power of two.
extern int page_size;

#include "sve/client/upper_bytes.h"

// No program is looked at yet.
uint32_t sve::client::clears_upper_bytes(app_pc, uint32_t) {
    return 0;
}

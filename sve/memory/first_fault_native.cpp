#include "sve/memory/first_fault_native.h"

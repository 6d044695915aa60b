#pragma once

#include "sve/native/code.h"

#include "tests/unit/store/library_test.h"

// SPDX-License-Identifier: Apache-2.0
#pragma once
#include "tests/support/plugin.h"

// SPDX-License-Identifier: Apache-2.0
// What the monitoring nodes cost, for people and for programs. All of it is printable.
#ifndef ZEB_HOST_COST_REPORT_H
#define ZEB_HOST_COST_REPORT_H

#include <string>

#include "flowfile/file.h"
#include "host/cost/cost.h"

namespace host {

// One screen of 80 columns; of many flows those whose nodes cost most.
std::string costText(const flowfile::File& file, const Cost& cost, unsigned processors);

// One JSON document with a newline: schema "zebhost.cost", version 1.
std::string costJson(const flowfile::File& file, const Cost& cost, unsigned processors);

}  // namespace host

#endif  // ZEB_HOST_COST_REPORT_H

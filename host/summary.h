// SPDX-License-Identifier: Apache-2.0
// What a run did: the tables at its end, and the same as JSON.
#ifndef ZEB_HOST_SUMMARY_H
#define ZEB_HOST_SUMMARY_H

#include <chrono>
#include <optional>
#include <string>

#include "host/flow_file.h"
#include "host/tally.h"
#include "host/verify.h"

namespace host {

// The host's own counts, flow by flow and node by node.
std::string summaryText(const FlowFile& file, const Tally& tally,
                        std::chrono::duration<double> elapsed);

// "host | shared memory | agrees", node by node.
std::string verificationText(const Verification& verification);

// The sentence that a verified run ends with.
std::string verdict(const Verification& verification, const Tally& tally);

// Schema "zebhost.summary", version 1; `verification` is null when none was asked for.
std::string summaryJson(const FlowFile& file, const Tally& tally,
                        std::chrono::duration<double> elapsed,
                        const std::optional<Verification>& verification);

}  // namespace host

#endif  // ZEB_HOST_SUMMARY_H

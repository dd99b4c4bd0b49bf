// SPDX-License-Identifier: Apache-2.0
#include "node/activation.h"

namespace {

// By mode. The attribute has no text for the first.
constexpr const char* kAttributeTexts[] = {
    nullptr, "yes", "no", "eventOnly", "inputOutputOnly", "inputOutputAndEventOnly"};
constexpr const char* kOverrideTexts[] = {
    "NoOverride", "Yes", "No", "EventOnly", "InputOutputOnly", "InputOutputAndEventOnly"};

// The first of the texts that the string equals, letter case aside; `otherwise` for none.
template <std::size_t N>
int match(const ZEB_String& string, const char* const (&texts)[N], int otherwise) {
  for (std::size_t i = 0; i < N; ++i)
    if (string.isEquivalent(texts[i])) return static_cast<int>(i);
  return otherwise;
}

}  // namespace

ZEB_ActivateNode ZEB_ActivationOf(const ZEB_String& attribute) {
  return static_cast<ZEB_ActivateNode>(match(attribute, kAttributeTexts, ZEB_ACTIVE));
}

int ZEB_OverrideOf(const ZEB_String& configured, int present) {
  return match(configured, kOverrideTexts, present);
}

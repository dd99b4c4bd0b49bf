// SPDX-License-Identifier: Apache-2.0
#include "agent/front/serve/assets.h"

#include "agent/front/serve/gzip.h"

namespace serve {

Assets::Assets() {
  for (const page::File& file : page::files()) {
    auto plain = std::make_shared<const std::string>(file.bytes);
    auto compressed = std::make_shared<const std::string>(gzipped(*plain));
    forms_[&file] = {std::move(plain), std::move(compressed)};
  }
}

Text Assets::of(const page::File& file, bool gzip) const {
  const Forms& forms = forms_.at(&file);
  return gzip ? forms.compressed : forms.plain;
}

}  // namespace serve

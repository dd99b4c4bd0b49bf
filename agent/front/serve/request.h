// SPDX-License-Identifier: Apache-2.0
// A request over HTTP, and the answer to it: values, whatever library carries them.
#ifndef ZEB_AGENT_FRONT_SERVE_REQUEST_H
#define ZEB_AGENT_FRONT_SERVE_REQUEST_H

#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace serve {

// Name and value, as they came or as they are sent. A client's values are any bytes.
using Header = std::pair<std::string, std::string>;

struct Request {
  std::string method;
  std::string target;  // with its query, undecoded
  std::vector<Header> headers;

  // The values of all headers of that name, in their order, without blanks around them. Upper and
  // lower case don't count in names. They point into the request.
  std::vector<std::string_view> valuesOf(std::string_view name) const;

  // The same as one list, as HTTP lets a sender divide it; empty when there is none.
  std::string listOf(std::string_view name) const;
};

struct Reply {
  int status = 200;
  std::string type = "application/json";
  std::shared_ptr<const std::string> body = {};  // shared by all who get the same; null: empty
  bool gzip = false;                             // what the body is
  std::vector<Header> headers = {};              // besides those that each reply has
};

// What every reply carries, whatever it says.
const std::vector<Header>& commonHeaders();

// Without the blanks around it.
std::string_view trimmed(std::string_view text);

}  // namespace serve

#endif  // ZEB_AGENT_FRONT_SERVE_REQUEST_H

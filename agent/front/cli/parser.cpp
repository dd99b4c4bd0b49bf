// SPDX-License-Identifier: Apache-2.0
#include "agent/front/cli/parser.h"

#include <CLI/CLI.hpp>
#include <cstdint>
#include <optional>
#include <utility>

namespace cli {

void refuse(const std::string& option, const std::string& why) {
  throw CLI::ValidationError(option, why);
}

Option& Option::required() {
  option_->required();
  return *this;
}

Option& Option::needs(const Option& other) {
  option_->needs(other.option_);
  return *this;
}

Option& Option::needs(const char* other) {
  option_->needs(other);
  return *this;
}

Option& Option::excludes(const Option& other) {
  option_->excludes(other.option_);
  return *this;
}

Option& Option::excludes(const char* other) {
  option_->excludes(other);
  return *this;
}

template <typename Number>
Option& Option::within(Number low, Number high) {
  option_->check(CLI::Range(low, high).description(""));
  return *this;
}

template Option& Option::within(int, int);
template Option& Option::within(double, double);

Option& Option::check(std::function<std::string(const std::string&)> problem) {
  option_->check(std::move(problem), "");
  return *this;
}

Option& Option::dividedByCommas() {
  option_->delimiter(',');
  return *this;
}

Option& Option::shown(const char* value) {
  option_->type_name(value);
  return *this;
}

// The parser knows no list that it doesn't show, so the type's name has it, and help another text.
Option& Option::shown(const char* value, const std::vector<std::string>& names) {
  std::string list;
  for (const std::string& name : names) list += (list.empty() ? "" : "|") + name;
  option_->type_name(list)->option_text(value);
  return *this;
}

Option& Option::showsDefault() {
  option_->capture_default_str();
  return *this;
}

Option& Option::showsDefault(const char* text) {
  option_->default_str(text);
  return *this;
}

template <typename Target>
Option Options::add(const char* name, Target& target, const char* help) {
  return Option(app_.add_option(name, target, help));
}

// All that commands have asked for.
template Option Options::add(const char*, std::string&, const char*);
template Option Options::add(const char*, std::vector<std::string>&, const char*);
template Option Options::add(const char*, int&, const char*);
template Option Options::add(const char*, unsigned&, const char*);
template Option Options::add(const char*, std::uint64_t&, const char*);
template Option Options::add(const char*, double&, const char*);
template Option Options::add(const char*, std::optional<unsigned>&, const char*);
template Option Options::add(const char*, std::optional<std::uint64_t>&, const char*);
template Option Options::add(const char*, std::optional<double>&, const char*);

namespace {

auto takingAll(Options::Take take) {
  return [take = std::move(take)](const std::vector<std::string>& values) {
    for (const std::string& value : values) take(value);
  };
}

}  // namespace

Option Options::take(const char* name, Take take, const char* help) {
  return Option(app_.add_option_function<std::string>(name, std::move(take), help));
}

Option Options::takeEach(const char* name, Take take, const char* help) {
  CLI::Option* const option =
      app_.add_option_function<std::vector<std::string>>(name, takingAll(std::move(take)), help);
  option->expected(1)->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
  return Option(option);
}

Option Options::takeTwo(const char* name,
                        std::function<void(const std::string&, const std::string&)> take,
                        const char* help) {
  const auto both = [take = std::move(take)](const std::vector<std::string>& values) {
    take(values.at(0), values.at(1));
  };
  CLI::Option* const option = app_.add_option_function<std::vector<std::string>>(name, both, help);
  option->expected(2);
  return Option(option);
}

Option Options::takeWords(const char* name, Take take, const char* help) {
  return Option(
      app_.add_option_function<std::vector<std::string>>(name, takingAll(std::move(take)), help));
}

Option Options::takeName(const char* name, const std::vector<std::string>& names, Take take,
                         const char* help) {
  CLI::Option* const option = app_.add_option_function<std::string>(name, std::move(take), help);
  option->check(CLI::IsMember(names).description(""));
  return Option(option);
}

void Options::refuses(const char* name, const std::string& why) {
  const auto refuseIt = [name, why](const std::string&) { refuse(name, why); };
  app_.add_option_function<std::string>(name, refuseIt, "")->group("");
}

Option Options::flag(const char* name, bool& target, const char* help) {
  return Option(app_.add_flag(name, target, help));
}

Option Options::flag(const char* name, std::function<void()> take, const char* help) {
  const auto taken = [take = std::move(take)](std::int64_t) { take(); };
  return Option(app_.add_flag_function(name, taken, help));
}

void Options::footer(const char* text) {
  app_.footer(text);
}

}  // namespace cli

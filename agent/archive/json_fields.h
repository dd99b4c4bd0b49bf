// SPDX-License-Identifier: Apache-2.0
// Facts as JSON and back, by one list of names a kind of fact.
//
// A kind of fact has a function `fields(Io& io, Of<Io, Fact>& fact)` that calls
// io("name", fact.member) for each member; Writing and Reading are the two kinds of Io. A member
// that older files lack is io.later("name", fact.member), and stays as it is when it is missing.
// Texts may have any bytes: those that are no UTF-8 become {"hex": "..."}. Lists of pairs are maps.
#ifndef ZEB_AGENT_ARCHIVE_JSON_FIELDS_H
#define ZEB_AGENT_ARCHIVE_JSON_FIELDS_H

#include <chrono>
#include <concepts>
#include <cstdint>
#include <limits>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace archived {

using Json = nlohmann::json;

// Thrown while facts are read, and caught by what reads a file.
struct Malformed {
  std::string what;  // the name of a member, and what is wrong with it
};

Json jsonOfText(const std::string& bytes);
std::string textOf(const Json& value);  // throws Malformed

// Throws Malformed unless it is a whole number from `least` to `most`.
std::int64_t signedOf(const Json& value, std::int64_t least, std::int64_t most);
std::uint64_t unsignedOf(const Json& value, std::uint64_t most);

// Throws Malformed when there is no such member.
const Json& memberOf(const Json& object, const char* name);

template <class Io, class Fact>
using Of = typename Io::template Constness<Fact>;

template <class T>
inline constexpr bool isDuration = false;
template <class R, class P>
inline constexpr bool isDuration<std::chrono::duration<R, P>> = true;
template <class T>
inline constexpr bool isOptional = false;
template <class T>
inline constexpr bool isOptional<std::optional<T>> = true;
template <class T>
inline constexpr bool isList = false;
template <class T>
inline constexpr bool isList<std::vector<T>> = true;
template <class K, class V>
inline constexpr bool isList<std::map<K, V>> = true;

template <class T>
Json jsonOf(const T& value);
template <class K, class V>
Json jsonOf(const std::pair<K, V>& pair);
template <class T>
void take(const Json& json, T& value);

class Writing {
 public:
  template <class Fact>
  using Constness = const Fact;

  template <class T>
  void operator()(const char* name, const T& value) {
    object_[name] = jsonOf(value);
  }

  template <class T>
  void later(const char* name, const T& value) {
    (*this)(name, value);
  }

  // `names` are those of an enumeration that counts from 0.
  template <class T, std::size_t N>
  void choice(const char* name, const T& value, const char* const (&names)[N]) {
    object_[name] = names[static_cast<std::size_t>(value)];
  }

  Json object_ = Json::object();
};

class Reading {
 public:
  template <class Fact>
  using Constness = Fact;

  // The object must live as long.
  explicit Reading(const Json& object) : object_(object) {}

  template <class T>
  void operator()(const char* name, T& value) {
    try {
      take(memberOf(object_, name), value);
    } catch (const Malformed& inner) {
      throw Malformed{name + ("." + inner.what)};
    }
  }

  template <class T>
  void later(const char* name, T& value) {
    if (object_.contains(name)) (*this)(name, value);
  }

  template <class T, std::size_t N>
  void choice(const char* name, T& value, const char* const (&names)[N]) {
    const Json& told = memberOf(object_, name);
    for (std::size_t i = 0; i < N; ++i) {
      if (told == names[i]) {
        value = static_cast<T>(i);
        return;
      }
    }
    throw Malformed{std::string(name) + " is none of its values"};
  }

 private:
  const Json& object_;
};

template <class T>
Json jsonOf(const T& value) {
  if constexpr (std::integral<T>) {
    return value;
  } else if constexpr (std::same_as<T, std::string>) {
    return jsonOfText(value);
  } else if constexpr (isDuration<T>) {
    return value.count();
  } else if constexpr (isOptional<T>) {
    return value ? jsonOf(*value) : Json();
  } else if constexpr (isList<T>) {
    Json list = Json::array();
    for (const auto& one : value) list.push_back(jsonOf(one));
    return list;
  } else {
    Writing writing;
    fields(writing, value);
    return std::move(writing.object_);
  }
}

template <class K, class V>
Json jsonOf(const std::pair<K, V>& pair) {
  return Json::array({jsonOf(pair.first), jsonOf(pair.second)});
}

template <class T>
void takeList(const Json& json, std::vector<T>& list) {
  list.clear();
  for (const Json& one : json) take(one, list.emplace_back());
}

template <class K, class V>
void takeList(const Json& json, std::map<K, V>& map) {
  map.clear();
  for (const Json& one : json) {
    if (!one.is_array() || one.size() != 2) throw Malformed{"is no list of pairs"};
    K key{};
    take(one[0], key);
    take(one[1], map[key]);
  }
}

template <class T>
void take(const Json& json, T& value) {
  if constexpr (std::same_as<T, bool>) {
    if (!json.is_boolean()) throw Malformed{"is neither true nor false"};
    value = json.get<bool>();
  } else if constexpr (std::signed_integral<T>) {
    value = static_cast<T>(
        signedOf(json, std::numeric_limits<T>::min(), std::numeric_limits<T>::max()));
  } else if constexpr (std::unsigned_integral<T>) {
    value = static_cast<T>(unsignedOf(json, std::numeric_limits<T>::max()));
  } else if constexpr (std::same_as<T, std::string>) {
    value = textOf(json);
  } else if constexpr (isDuration<T>) {
    typename T::rep count = 0;
    take(json, count);
    value = T(count);
  } else if constexpr (isOptional<T>) {
    value.reset();
    if (!json.is_null()) take(json, value.emplace());
  } else if constexpr (isList<T>) {
    if (!json.is_array()) throw Malformed{"is no list"};
    takeList(json, value);
  } else {
    if (!json.is_object()) throw Malformed{"is no object"};
    Reading reading(json);
    fields(reading, value);
  }
}

}  // namespace archived

#endif  // ZEB_AGENT_ARCHIVE_JSON_FIELDS_H

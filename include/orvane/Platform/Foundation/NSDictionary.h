#pragma once

#include <cmath>
#include <concepts>
#include <cstdint>
#include <initializer_list>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "orvane/Platform/CoreGraphics/CGGeometry.h"
#include "orvane/Platform/Foundation/Data.h"

namespace orvane {

class NSDictionary;

/// One value of an option or property dictionary: a number (boolean, 64-bit
/// integer, double, or float: a number made from a float keeps single
/// precision, as numberWithFloat: does), a text, bytes, a size, or a nested
/// dictionary. Values are immutable once made and may be shared between
/// threads.
class NSPropertyValue {
 public:
  using Storage = std::variant<bool, std::int64_t, double, float, std::string, Data, CGSize,
                               std::shared_ptr<const NSDictionary>>;

  NSPropertyValue(bool v) : value_(v) {}
  template <std::integral T>
    requires(!std::same_as<T, bool>)
  NSPropertyValue(T v) : value_(static_cast<std::int64_t>(v)) {}
  NSPropertyValue(double v) : value_(v) {}
  NSPropertyValue(float v) : value_(v) {}
  NSPropertyValue(std::string v) : value_(std::move(v)) {}
  NSPropertyValue(std::string_view v) : value_(std::string(v)) {}
  NSPropertyValue(const char* v) : value_(std::string(v)) {}
  NSPropertyValue(Data v) : value_(std::move(v)) {}
  NSPropertyValue(CGSize v) : value_(v) {}
  NSPropertyValue(NSDictionary v);
  NSPropertyValue(std::shared_ptr<const NSDictionary> v) : value_(std::move(v)) {}

  const Storage& storage() const noexcept { return value_; }

  /// True for booleans, integers, doubles and floats.
  bool isNumber() const noexcept { return value_.index() <= 3; }
  /// The number as a double (a boolean is 0 or 1; a float widens exactly);
  /// nothing for other kinds.
  std::optional<double> doubleValue() const noexcept {
    switch (value_.index()) {
      case 0: return std::get<bool>(value_) ? 1.0 : 0.0;
      case 1: return static_cast<double>(std::get<std::int64_t>(value_));
      case 2: return std::get<double>(value_);
      case 3: return static_cast<double>(std::get<float>(value_));
      default: return std::nullopt;
    }
  }
  /// The number truncated toward zero (0 for not-a-number, saturated at the
  /// 64-bit limits); nothing for other kinds.
  std::optional<std::int64_t> integerValue() const noexcept {
    if (value_.index() == 1) return std::get<std::int64_t>(value_);
    const auto d = doubleValue();
    if (!d) return std::nullopt;
    if (std::isnan(*d)) return 0;
    if (*d >= 9.2233720368547758e18) return INT64_MAX;
    if (*d <= -9.2233720368547758e18) return INT64_MIN;
    return static_cast<std::int64_t>(*d);
  }
  /// True for a non-zero number; nothing for other kinds.
  std::optional<bool> boolValue() const noexcept {
    const auto d = doubleValue();
    if (!d) return std::nullopt;
    return *d != 0.0;
  }
  /// The text, or null for other kinds.
  const std::string* stringValue() const noexcept { return std::get_if<std::string>(&value_); }
  /// The bytes, or null for other kinds.
  const Data* dataValue() const noexcept { return std::get_if<Data>(&value_); }
  /// The size; nothing for other kinds.
  std::optional<CGSize> sizeValue() const noexcept {
    if (const auto* s = std::get_if<CGSize>(&value_)) return *s;
    return std::nullopt;
  }
  /// The nested dictionary, or null for other kinds.
  const NSDictionary* dictionaryValue() const noexcept {
    const auto* d = std::get_if<std::shared_ptr<const NSDictionary>>(&value_);
    return d ? d->get() : nullptr;
  }

  friend bool operator==(const NSPropertyValue& a, const NSPropertyValue& b);

 private:
  Storage value_;
};

/// An immutable map from text keys to values: the option and property
/// dictionaries of the image calls. Keys hold the platform's strings.
/// Immutable, so it may be shared between threads.
class NSDictionary {
 public:
  using Map = std::map<std::string, NSPropertyValue, std::less<>>;

  NSDictionary() = default;
  NSDictionary(std::initializer_list<Map::value_type> entries) : entries_(entries) {}
  explicit NSDictionary(Map entries) : entries_(std::move(entries)) {}

  std::size_t count() const noexcept { return entries_.size(); }
  /// The value under `key`, or null when there is none.
  const NSPropertyValue* objectForKey(std::string_view key) const {
    const auto it = entries_.find(key);
    return it == entries_.end() ? nullptr : &it->second;
  }
  /// The keys in ascending byte order.
  std::vector<std::string> allKeys() const {
    std::vector<std::string> keys;
    keys.reserve(entries_.size());
    for (const auto& [k, v] : entries_) keys.push_back(k);
    return keys;
  }
  Map::const_iterator begin() const noexcept { return entries_.begin(); }
  Map::const_iterator end() const noexcept { return entries_.end(); }

  /// Equal keys with equal values (nested dictionaries compared by content).
  friend bool operator==(const NSDictionary& a, const NSDictionary& b) {
    return a.entries_ == b.entries_;
  }

 private:
  Map entries_;
};

inline NSPropertyValue::NSPropertyValue(NSDictionary v)
    : value_(std::make_shared<const NSDictionary>(std::move(v))) {}

/// Same kind and same value; numbers of different kinds compare by value
/// (a float by its exact single-precision value), nested dictionaries by
/// content.
inline bool operator==(const NSPropertyValue& a, const NSPropertyValue& b) {
  if (a.isNumber() && b.isNumber()) {
    if (a.value_.index() == 1 && b.value_.index() == 1)
      return std::get<std::int64_t>(a.value_) == std::get<std::int64_t>(b.value_);
    return *a.doubleValue() == *b.doubleValue();
  }
  if (a.value_.index() != b.value_.index()) return false;
  if (const NSDictionary* d = a.dictionaryValue()) {
    const NSDictionary* e = b.dictionaryValue();
    return d == e || (d && e && *d == *e);
  }
  if (a.value_.index() == 7) return !b.dictionaryValue();
  return a.value_ == b.value_;
}

}  // namespace orvane

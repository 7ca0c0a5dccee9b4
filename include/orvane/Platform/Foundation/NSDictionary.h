#pragma once

#include <cstdint>
#include <initializer_list>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>

#include "orvane/Export.h"
#include "orvane/Platform/CoreGraphics/CGGeometry.h"
#include "orvane/Platform/Foundation/Data.h"

namespace orvane {

class NSDictionary;

/// One value of an option or property dictionary: a boolean, a 64-bit
/// integer, a double, a float, a text, bytes, a size, or a nested
/// dictionary. A value made from a float keeps single precision, as the
/// platform's numberWithFloat: does (0.8f stays the float nearest 0.8).
class ORVANE_EXPORT NSPropertyValue {
 public:
  using Storage = std::variant<bool, std::int64_t, double, float, std::string, Data, CGSize,
                               std::shared_ptr<const NSDictionary>>;

  NSPropertyValue(bool value) : storage_(value) {}
  NSPropertyValue(int value) : storage_(std::int64_t{value}) {}
  NSPropertyValue(std::int64_t value) : storage_(value) {}
  NSPropertyValue(double value) : storage_(value) {}
  NSPropertyValue(float value) : storage_(value) {}
  NSPropertyValue(std::string value) : storage_(std::move(value)) {}
  NSPropertyValue(std::string_view value) : storage_(std::string(value)) {}
  NSPropertyValue(const char* value) : storage_(std::string(value)) {}
  NSPropertyValue(Data value) : storage_(std::move(value)) {}
  NSPropertyValue(CGSize value) : storage_(value) {}
  NSPropertyValue(NSDictionary value);

  /// The value as the platform's number answers doubleValue: booleans as 0
  /// or 1, integers and floats widened; nothing for a value that is no number.
  std::optional<double> doubleValue() const;
  /// The value as a float, as floatValue: a double is narrowed.
  std::optional<float> floatValue() const;
  /// The value as integerValue: numbers truncated toward zero (nothing for a
  /// double outside the 64-bit range or not a number).
  std::optional<std::int64_t> integerValue() const;
  /// The value as boolValue: any number other than 0 is true.
  std::optional<bool> boolValue() const;
  /// The text, the bytes, the size or the dictionary; nothing (null) for a
  /// value of another kind.
  const std::string* stringValue() const { return std::get_if<std::string>(&storage_); }
  const Data* dataValue() const { return std::get_if<Data>(&storage_); }
  std::optional<CGSize> sizeValue() const;
  const NSDictionary* dictionaryValue() const;

  const Storage& storage() const noexcept { return storage_; }
  friend bool operator==(const NSPropertyValue& a, const NSPropertyValue& b);

 private:
  Storage storage_;
};

/// An immutable dictionary from text keys to values: the option and property
/// dictionaries of ImageIO and AppKit. An optional dictionary argument is a
/// `const NSDictionary*`, null for none. Safe to share between threads.
class ORVANE_EXPORT NSDictionary {
 public:
  using Entries = std::map<std::string, NSPropertyValue, std::less<>>;

  NSDictionary() = default;
  NSDictionary(std::initializer_list<std::pair<std::string_view, NSPropertyValue>> entries) {
    for (const auto& [key, value] : entries) entries_.insert_or_assign(std::string(key), value);
  }
  explicit NSDictionary(Entries entries) : entries_(std::move(entries)) {}

  /// The value under `key`, or null.
  const NSPropertyValue* objectForKey(std::string_view key) const;
  /// The value under `key` read as a number, a float, a boolean or a size;
  /// nothing when the key is missing or its value is of another kind.
  std::optional<double> doubleForKey(std::string_view key) const;
  std::optional<float> floatForKey(std::string_view key) const;
  std::optional<bool> boolForKey(std::string_view key) const;
  std::optional<CGSize> sizeForKey(std::string_view key) const;

  std::size_t count() const noexcept { return entries_.size(); }
  const Entries& entries() const noexcept { return entries_; }
  friend bool operator==(const NSDictionary& a, const NSDictionary& b) {
    return a.entries_ == b.entries_;
  }

 private:
  Entries entries_;
};

}  // namespace orvane

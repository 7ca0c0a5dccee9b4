#include "orvane/Platform/Foundation/NSDictionary.h"

#include <cmath>

namespace orvane {

NSPropertyValue::NSPropertyValue(NSDictionary value)
    : storage_(std::make_shared<const NSDictionary>(std::move(value))) {}

std::optional<double> NSPropertyValue::doubleValue() const {
  if (const auto* v = std::get_if<bool>(&storage_)) return *v ? 1.0 : 0.0;
  if (const auto* v = std::get_if<std::int64_t>(&storage_)) return static_cast<double>(*v);
  if (const auto* v = std::get_if<double>(&storage_)) return *v;
  if (const auto* v = std::get_if<float>(&storage_)) return static_cast<double>(*v);
  return std::nullopt;
}

std::optional<float> NSPropertyValue::floatValue() const {
  if (const auto* v = std::get_if<float>(&storage_)) return *v;
  if (auto d = doubleValue()) return static_cast<float>(*d);
  return std::nullopt;
}

std::optional<std::int64_t> NSPropertyValue::integerValue() const {
  if (const auto* v = std::get_if<std::int64_t>(&storage_)) return *v;
  const auto d = doubleValue();
  // Outside the range a conversion would be undefined; such a number has no
  // integer value.
  if (!d || !(std::fabs(*d) < 9223372036854775808.0)) return std::nullopt;
  return static_cast<std::int64_t>(*d);
}

std::optional<bool> NSPropertyValue::boolValue() const {
  if (const auto d = doubleValue()) return *d != 0.0;
  return std::nullopt;
}

std::optional<CGSize> NSPropertyValue::sizeValue() const {
  if (const auto* v = std::get_if<CGSize>(&storage_)) return *v;
  return std::nullopt;
}

const NSDictionary* NSPropertyValue::dictionaryValue() const {
  const auto* v = std::get_if<std::shared_ptr<const NSDictionary>>(&storage_);
  return v ? v->get() : nullptr;
}

bool operator==(const NSPropertyValue& a, const NSPropertyValue& b) {
  const auto* da = a.dictionaryValue();
  const auto* db = b.dictionaryValue();
  if (da || db) return da && db && *da == *db;
  return a.storage_ == b.storage_;
}

const NSPropertyValue* NSDictionary::objectForKey(std::string_view key) const {
  const auto it = entries_.find(key);
  return it == entries_.end() ? nullptr : &it->second;
}

std::optional<double> NSDictionary::doubleForKey(std::string_view key) const {
  const auto* value = objectForKey(key);
  return value ? value->doubleValue() : std::nullopt;
}

std::optional<float> NSDictionary::floatForKey(std::string_view key) const {
  const auto* value = objectForKey(key);
  return value ? value->floatValue() : std::nullopt;
}

std::optional<bool> NSDictionary::boolForKey(std::string_view key) const {
  const auto* value = objectForKey(key);
  return value ? value->boolValue() : std::nullopt;
}

std::optional<CGSize> NSDictionary::sizeForKey(std::string_view key) const {
  const auto* value = objectForKey(key);
  return value ? value->sizeValue() : std::nullopt;
}

}  // namespace orvane

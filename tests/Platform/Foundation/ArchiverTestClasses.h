#pragma once

// Small archivable classes for the archiver tests: a point of two integers
// (shaped like a storage chunk) and a record that uses every kind of value.

#include <memory>
#include <optional>
#include <string>

#include "orvane/Platform/Foundation/NSKeyedArchiver.h"

namespace orvane::testing {

class TestPoint : public NSCoding {
 public:
  TestPoint(std::int64_t x, std::int64_t y) : x(x), y(y) {}
  std::string archiveClassName() const override { return "ArchiverTestPoint"; }
  void encodeWithCoder(NSKeyedArchiver& coder) const override {
    coder.encodeInt64ForKey(x, "x");
    coder.encodeInt64ForKey(y, "y");
  }
  std::int64_t x, y;
};

class TestRecord : public NSCoding {
 public:
  std::string archiveClassName() const override { return "ArchiverTestRecord"; }
  std::vector<std::string> archiveClassHierarchy() const override {
    return {"ArchiverTestRecord", "ArchiverTestBase", "NSObject"};
  }
  void encodeWithCoder(NSKeyedArchiver& coder) const override {
    if (name) coder.encodeStringForKey(*name, "name");
    if (blob) coder.encodeDataForKey(*blob, "blob");
    coder.encodeInt64ForKey(count, "$count");
    if (children) coder.encodeDictionaryForKey(*children, "children");
    if (inner) coder.encodeObjectForKey(*inner, "inner");
    // A record may refer to itself; the archive then holds a back reference.
    if (selfReference) coder.encodeObjectForKey(*this, "self");
  }

  std::optional<std::string> name;
  std::optional<Data> blob;
  std::int64_t count = 0;
  std::optional<NSCodingDictionary> children;
  std::shared_ptr<const NSCoding> inner;
  bool selfReference = false;
  // Filled by decoding only.
  std::optional<std::map<std::string, std::shared_ptr<NSCoding>>> decodedChildren;
  std::shared_ptr<NSCoding> decodedInner;
  std::shared_ptr<NSCoding> decodedSelf;
  bool hadInner = false;
};

/// Registers the factories of the test classes (idempotent).
inline void registerArchiverTestClasses() {
  NSKeyedUnarchiver::registerClass("ArchiverTestPoint", [](NSKeyedUnarchiver& coder) {
    return std::make_shared<TestPoint>(coder.decodeInt64ForKey("x"), coder.decodeInt64ForKey("y"));
  });
  NSKeyedUnarchiver::registerClass("ArchiverTestRecord", [](NSKeyedUnarchiver& coder) {
    auto r = std::make_shared<TestRecord>();
    r->name = coder.decodeStringForKey("name");
    r->blob = coder.decodeDataForKey("blob");
    r->count = coder.decodeInt64ForKey("$count");
    r->decodedChildren = coder.decodeDictionaryForKey("children");
    r->hadInner = coder.containsValueForKey("inner");
    r->decodedInner = coder.decodeObjectForKey("inner");
    r->decodedSelf = coder.decodeObjectForKey("self");
    return r;
  });
}

}  // namespace orvane::testing

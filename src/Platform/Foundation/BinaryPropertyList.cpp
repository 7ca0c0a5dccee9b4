#include "BinaryPropertyList.h"

#include "Platform/Foundation/Text.h"

#include <algorithm>
#include <cstring>
#include <limits>

namespace orvane::bplist {

namespace {

constexpr std::uint8_t kHeader[8] = {'b', 'p', 'l', 'i', 's', 't', '0', '0'};
constexpr std::size_t kTrailerSize = 32;

// Object markers: the high nibble of an object's first byte.
enum Marker : std::uint8_t {
  kMarkerSimple = 0x0,
  kMarkerInt = 0x1,
  kMarkerReal = 0x2,
  kMarkerDate = 0x3,
  kMarkerData = 0x4,
  kMarkerAscii = 0x5,
  kMarkerUtf16 = 0x6,
  kMarkerUid = 0x8,
  kMarkerArray = 0xA,
  kMarkerSet = 0xC,
  kMarkerDict = 0xD,
};

std::uint64_t readBE(const std::uint8_t* p, unsigned n) noexcept {
  // The common widths first: references and offsets are read by the million.
  switch (n) {
    case 1:
      return p[0];
    case 2:
      return std::uint64_t{p[0]} << 8 | p[1];
    case 4:
      return std::uint64_t{p[0]} << 24 | std::uint64_t{p[1]} << 16 | std::uint64_t{p[2]} << 8 |
             p[3];
    default:
      break;
  }
  std::uint64_t v = 0;
  for (unsigned i = 0; i < n; ++i) v = (v << 8) | p[i];
  return v;
}

void appendBE(Data& out, std::uint64_t v, unsigned n) {
  for (unsigned i = n; i-- > 0;) out.push_back(static_cast<std::uint8_t>(v >> (8 * i)));
}

void storeBE(std::uint8_t* p, std::uint64_t v, unsigned n) noexcept {
  for (unsigned i = n; i-- > 0; v >>= 8) p[i] = static_cast<std::uint8_t>(v);
}

// Smallest of 1, 2, 4 or 8 bytes that holds the value.
unsigned bytesFor(std::uint64_t v) noexcept {
  if (v <= 0xFF) return 1;
  if (v <= 0xFFFF) return 2;
  if (v <= 0xFFFFFFFFu) return 4;
  return 8;
}

unsigned log2Of(unsigned n) noexcept { return n == 1 ? 0 : n == 2 ? 1 : n == 4 ? 2 : 3; }

void appendUtf16Unit(std::vector<std::uint16_t>& units, std::uint32_t cp) {
  if (cp >= 0x10000) {
    cp -= 0x10000;
    units.push_back(static_cast<std::uint16_t>(0xD800 + (cp >> 10)));
    units.push_back(static_cast<std::uint16_t>(0xDC00 + (cp & 0x3FF)));
  } else {
    units.push_back(static_cast<std::uint16_t>(cp));
  }
}

// UTF-16 code units of UTF-8 text; each invalid sequence (overlong, surrogate,
// above U+10FFFF, truncated) becomes one U+FFFD.
std::vector<std::uint16_t> utf16Of(std::string_view s) {
  std::vector<std::uint16_t> units;
  units.reserve(s.size());
  const auto* p = reinterpret_cast<const std::uint8_t*>(s.data());
  const std::size_t n = s.size();
  std::size_t i = 0;
  while (i < n) {
    if (p[i] < 0x80) {
      units.push_back(p[i++]);
      continue;
    }
    const UTF8Scalar scalar = decodeUTF8Scalar(s.substr(i));
    if (scalar.length == 0) {
      units.push_back(0xFFFD);
      // Skip the lead byte and any continuation bytes that follow it.
      ++i;
      while (i < n && (p[i] & 0xC0) == 0x80) ++i;
      continue;
    }
    appendUtf16Unit(units, scalar.value);
    i += scalar.length;
  }
  return units;
}

void appendUtf8(std::string& out, std::uint32_t cp) {
  if (cp < 0x80) {
    out.push_back(static_cast<char>(cp));
  } else if (cp < 0x800) {
    out.push_back(static_cast<char>(0xC0 | (cp >> 6)));
    out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
  } else if (cp < 0x10000) {
    out.push_back(static_cast<char>(0xE0 | (cp >> 12)));
    out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
    out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
  } else {
    out.push_back(static_cast<char>(0xF0 | (cp >> 18)));
    out.push_back(static_cast<char>(0x80 | ((cp >> 12) & 0x3F)));
    out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
    out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
  }
}

bool isAscii(std::string_view s) noexcept {
  for (const char c : s)
    if (static_cast<unsigned char>(c) >= 0x80) return false;
  return true;
}

}  // namespace

void appendUtf16BEAsUtf8(std::string& out, ByteView utf16be) {
  const std::size_t units = utf16be.size() / 2;
  out.reserve(out.size() + units);
  for (std::size_t i = 0; i < units; ++i) {
    std::uint32_t u = (std::uint32_t{utf16be[2 * i]} << 8) | utf16be[2 * i + 1];
    if (u >= 0xD800 && u <= 0xDBFF && i + 1 < units) {
      const std::uint32_t low = (std::uint32_t{utf16be[2 * i + 2]} << 8) | utf16be[2 * i + 3];
      if (low >= 0xDC00 && low <= 0xDFFF) {
        appendUtf8(out, 0x10000 + ((u - 0xD800) << 10) + (low - 0xDC00));
        ++i;
        continue;
      }
    }
    if (u >= 0xD800 && u <= 0xDFFF) u = 0xFFFD;
    appendUtf8(out, u);
  }
}

// ---------------------------------------------------------------- Writer

// The object table and references of the last writer on this thread, kept
// with their room: an archive of many objects is written again and again (after
// every change of an index), and fresh room for these tables would be mapped
// and faulted in by the kernel page by page each time.
struct Writer::Spare {
  std::vector<Entry> entries;
  std::vector<ObjectRef> refs;
  bool present = false;
};

Writer::Spare& Writer::spare() {
  thread_local Spare s;
  return s;
}

std::size_t Writer::spareBytesOnThisThread() {
  const Spare& s = spare();
  if (!s.present) return 0;
  return s.entries.capacity() * sizeof(Entry) + s.refs.capacity() * sizeof(ObjectRef);
}

Writer::Writer() {
  out_.assign(std::begin(kHeader), std::end(kHeader));
  if (Spare& s = spare(); s.present) {
    entries_ = std::move(s.entries);
    refs_ = std::move(s.refs);
    s.present = false;
  }
}

Writer::~Writer() {
  // Room beyond this is given back rather than kept: every thread that ever
  // wrote a property list keeps its spare room until it ends. 4 MiB holds the
  // tables of an index of some 25 000 items.
  constexpr std::size_t kMaxKept = std::size_t{4} << 20;
  const std::size_t room =
      entries_.capacity() * sizeof(Entry) + refs_.capacity() * sizeof(ObjectRef);
  if (Spare& s = spare(); !s.present && room <= kMaxKept) {
    entries_.clear();
    refs_.clear();
    s.entries = std::move(entries_);
    s.refs = std::move(refs_);
    s.present = true;
  }
}

void Writer::appendMarker(std::uint8_t type, std::uint64_t count) {
  if (count < 15) {
    out_.push_back(static_cast<std::uint8_t>(type << 4 | count));
    return;
  }
  out_.push_back(static_cast<std::uint8_t>(type << 4 | 0xF));
  const unsigned n = bytesFor(count);
  out_.push_back(static_cast<std::uint8_t>(kMarkerInt << 4 | log2Of(n)));
  appendBE(out_, count, n);
}

void Writer::reserve(std::size_t objects, std::size_t bytes, std::size_t refs) {
  reserveMore(entries_, objects);
  // Room for the collections, offset table and trailer that finish() adds.
  reserveMore(out_, bytes + 4 * (objects + refs) + 64);
  reserveMore(refs_, refs);
}

ObjectRef Writer::addLeaf(std::uint64_t position) {
  entries_.push_back({position, 0, Kind::Leaf});
  return entries_.size() - 1;
}

ObjectRef Writer::addInteger(std::int64_t value) {
  const std::uint64_t position = out_.size();
  // Negative values need all eight bytes: only the 8-byte form is signed.
  const unsigned n = value < 0 ? 8 : bytesFor(static_cast<std::uint64_t>(value));
  out_.push_back(static_cast<std::uint8_t>(kMarkerInt << 4 | log2Of(n)));
  appendBE(out_, static_cast<std::uint64_t>(value), n);
  return addLeaf(position);
}

ObjectRef Writer::addUID(std::uint64_t value) {
  const std::uint64_t position = out_.size();
  const unsigned n = bytesFor(value);
  out_.push_back(static_cast<std::uint8_t>(kMarkerUid << 4 | (n - 1)));
  appendBE(out_, value, n);
  return addLeaf(position);
}

ObjectRef Writer::addString(std::string_view utf8) {
  const std::uint64_t position = out_.size();
  if (isAscii(utf8)) {
    appendMarker(kMarkerAscii, utf8.size());
    out_.insert(out_.end(), utf8.begin(), utf8.end());
  } else {
    const auto units = utf16Of(utf8);
    appendMarker(kMarkerUtf16, units.size());
    const std::size_t start = out_.size();
    out_.resize(start + 2 * units.size());
    for (std::size_t i = 0; i < units.size(); ++i) storeBE(&out_[start + 2 * i], units[i], 2);
  }
  return addLeaf(position);
}

ObjectRef Writer::addUniqueString(std::string_view utf8) {
  // Keys recur once per object; a short list of the latest ones answers most
  // look-ups without hashing.
  for (std::size_t i = 0; i < recentCount_; ++i) {
    const auto& [text, ref] = recentStrings_[i];
    if (text.size() == utf8.size() && std::memcmp(text.data(), utf8.data(), utf8.size()) == 0)
      return ref;
  }
  ObjectRef ref;
  if (const auto it = uniqueStrings_.find(utf8); it != uniqueStrings_.end()) {
    ref = it->second;
  } else {
    ref = addString(utf8);
    uniqueStrings_.emplace(std::string(utf8), ref);
  }
  recentStrings_[nextRecent_] = {std::string(utf8), ref};
  nextRecent_ = (nextRecent_ + 1) % recentStrings_.size();
  if (recentCount_ < recentStrings_.size()) ++recentCount_;
  return ref;
}

ObjectRef Writer::addData(ByteView bytes) {
  const std::uint64_t position = out_.size();
  appendMarker(kMarkerData, bytes.size());
  out_.insert(out_.end(), bytes.begin(), bytes.end());
  return addLeaf(position);
}

ObjectRef Writer::addArray(const ObjectRef* items, std::size_t count) {
  entries_.push_back({refs_.size(), count, Kind::Array});
  refs_.insert(refs_.end(), items, items + count);
  return entries_.size() - 1;
}

ObjectRef Writer::addDictionary(const ObjectRef* keys, const ObjectRef* values, std::size_t count) {
  entries_.push_back({refs_.size(), count, Kind::Dictionary});
  refs_.insert(refs_.end(), keys, keys + count);
  refs_.insert(refs_.end(), values, values + count);
  return entries_.size() - 1;
}

Data Writer::finish(ObjectRef top) {
  const std::uint64_t objectCount = entries_.size();
  const unsigned refSize = bytesFor(objectCount == 0 ? 0 : objectCount - 1);

  // Collections go after the leaves, now that the reference size is known.
  std::uint64_t collectionBytes = 0;
  for (const Entry& e : entries_)
    if (e.kind != Kind::Leaf)
      collectionBytes += 10 + refSize * e.count * (e.kind == Kind::Dictionary ? 2 : 1);
  out_.reserve(out_.size() + collectionBytes + objectCount * 8 + kTrailerSize);
  for (Entry& e : entries_) {
    if (e.kind == Kind::Leaf) continue;
    const std::uint64_t first = e.position;
    const std::uint64_t refCount = e.kind == Kind::Dictionary ? 2 * e.count : e.count;
    e.position = out_.size();
    appendMarker(e.kind == Kind::Dictionary ? kMarkerDict : kMarkerArray, e.count);
    const std::size_t start = out_.size();
    out_.resize(start + refSize * refCount);
    std::uint8_t* p = out_.data() + start;
    for (std::uint64_t i = 0; i < refCount; ++i, p += refSize)
      storeBE(p, refs_[first + i], refSize);
  }

  const std::uint64_t tableOffset = out_.size();
  const unsigned offsetSize = bytesFor(tableOffset);
  const std::size_t tableStart = out_.size();
  out_.resize(tableStart + offsetSize * objectCount);
  std::uint8_t* p = out_.data() + tableStart;
  for (const Entry& e : entries_) {
    storeBE(p, e.position, offsetSize);
    p += offsetSize;
  }

  const std::uint8_t pad[6] = {};
  out_.insert(out_.end(), std::begin(pad), std::end(pad));
  out_.push_back(static_cast<std::uint8_t>(offsetSize));
  out_.push_back(static_cast<std::uint8_t>(refSize));
  appendBE(out_, objectCount, 8);
  appendBE(out_, top, 8);
  appendBE(out_, tableOffset, 8);

  Data result = std::move(out_);
  out_.assign(std::begin(kHeader), std::end(kHeader));
  entries_.clear();
  refs_.clear();
  uniqueStrings_.clear();
  recentCount_ = 0;
  nextRecent_ = 0;
  return result;
}

// ---------------------------------------------------------------- Reader

std::optional<Reader> Reader::parse(ByteView bytes) {
  const std::size_t size = bytes.size();
  if (size < sizeof kHeader + 1 + kTrailerSize) return std::nullopt;
  if (std::memcmp(bytes.data(), kHeader, sizeof kHeader) != 0) return std::nullopt;

  const std::uint8_t* trailer = bytes.data() + size - kTrailerSize;
  const unsigned offsetSize = trailer[6];
  const unsigned refSize = trailer[7];
  const std::uint64_t objectCount = readBE(trailer + 8, 8);
  const std::uint64_t top = readBE(trailer + 16, 8);
  const std::uint64_t tableOffset = readBE(trailer + 24, 8);
  if (offsetSize < 1 || offsetSize > 8 || refSize < 1 || refSize > 8) return std::nullopt;
  if (objectCount == 0 || top >= objectCount) return std::nullopt;
  const std::uint64_t areaEnd = tableOffset;  // objects lie in [8, tableOffset)
  if (tableOffset <= sizeof kHeader || tableOffset > size - kTrailerSize) return std::nullopt;
  if (objectCount > (size - kTrailerSize - tableOffset) / offsetSize) return std::nullopt;

  std::vector<Object> objects;
  objects.reserve(objectCount);
  // Together the objects may not take more bytes than the object area: this
  // keeps the work linear even when offsets point at shared bytes.
  const std::uint64_t budget = areaEnd - sizeof kHeader;
  std::uint64_t used = 0;
  bool childrenFirst = true;
  const std::uint8_t* base = bytes.data();
  const std::uint8_t* table = base + tableOffset;

  for (std::uint64_t i = 0; i < objectCount; ++i) {
    const std::uint64_t offset = readBE(table + i * offsetSize, offsetSize);
    if (offset < sizeof kHeader || offset >= areaEnd) return std::nullopt;
    std::uint64_t p = offset + 1;
    const std::uint8_t marker = base[offset];
    const unsigned high = marker >> 4;
    const unsigned low = marker & 0xF;
    auto room = [&](std::uint64_t n) { return n <= areaEnd - p; };
    // Count of a variable-length object: the low nibble, or an integer object after it.
    auto readCount = [&](std::uint64_t& count) {
      if (low != 0xF) {
        count = low;
        return true;
      }
      if (!room(1)) return false;
      const std::uint8_t m = base[p];
      if (m >> 4 != kMarkerInt || (m & 0xF) > 3) return false;
      const unsigned n = 1u << (m & 0xF);
      ++p;
      if (!room(n)) return false;
      count = readBE(base + p, n);
      p += n;
      return true;
    };

    Object o{0, 0, Type::Null};
    switch (high) {
      case kMarkerSimple:
        if (low == 0x0)
          o.type = Type::Null;
        else if (low == 0x8 || low == 0x9)
          o = {low == 0x9 ? 1u : 0u, 0, Type::Boolean};
        else
          return std::nullopt;
        break;
      case kMarkerInt: {
        if (low > 4) return std::nullopt;
        const unsigned n = 1u << low;
        if (!room(n)) return std::nullopt;
        if (n == 16) {
          // 128-bit integers only for values that fit 64 bits (unsigned or negative).
          const std::uint64_t hi = readBE(base + p, 8);
          const std::uint64_t lo = readBE(base + p + 8, 8);
          if (hi != 0 && !(hi == ~std::uint64_t{0} && (lo >> 63) != 0)) return std::nullopt;
          o = {lo, 0, Type::Integer};
        } else {
          o = {readBE(base + p, n), 0, Type::Integer};
        }
        p += n;
        break;
      }
      case kMarkerReal: {
        if (low != 2 && low != 3) return std::nullopt;
        const unsigned n = 1u << low;
        if (!room(n)) return std::nullopt;
        std::uint64_t bits = readBE(base + p, n);
        if (n == 4) {
          float f;
          const auto b32 = static_cast<std::uint32_t>(bits);
          std::memcpy(&f, &b32, 4);
          const double d = f;
          std::memcpy(&bits, &d, 8);
        }
        o = {bits, 0, Type::Real};
        p += n;
        break;
      }
      case kMarkerDate:
        if (low != 3 || !room(8)) return std::nullopt;
        o = {readBE(base + p, 8), 0, Type::Date};
        p += 8;
        break;
      case kMarkerData:
      case kMarkerAscii: {
        std::uint64_t count = 0;
        if (!readCount(count) || !room(count)) return std::nullopt;
        if (high == kMarkerAscii)
          for (std::uint64_t k = 0; k < count; ++k)
            if (base[p + k] >= 0x80) return std::nullopt;
        o = {p, count, high == kMarkerData ? Type::Data : Type::AsciiString};
        p += count;
        break;
      }
      case kMarkerUtf16: {
        std::uint64_t count = 0;
        if (!readCount(count) || count > (areaEnd - p) / 2) return std::nullopt;
        o = {p, count, Type::Utf16String};
        p += 2 * count;
        break;
      }
      case kMarkerUid: {
        const unsigned n = low + 1;
        if (n > 8 || !room(n)) return std::nullopt;
        o = {readBE(base + p, n), 0, Type::UID};
        p += n;
        break;
      }
      case kMarkerArray:
      case kMarkerSet:
      case kMarkerDict: {
        std::uint64_t count = 0;
        if (!readCount(count)) return std::nullopt;
        const std::uint64_t perEntry = high == kMarkerDict ? 2 : 1;
        if (count > (areaEnd - p) / refSize / perEntry) return std::nullopt;
        const std::uint64_t refs = count * perEntry;
        std::uint16_t height = 0;
        for (std::uint64_t k = 0; k < refs; ++k) {
          const std::uint64_t ref = readBE(base + p + k * refSize, refSize);
          if (ref >= objectCount) return std::nullopt;
          if (ref >= i)
            childrenFirst = false;
          else if (childrenFirst)
            height = std::max(height, objects[ref].height);
        }
        o = {p, count,
             high == kMarkerDict  ? Type::Dictionary
             : high == kMarkerSet ? Type::Set
                                  : Type::Array};
        if (childrenFirst) {
          o.height = static_cast<std::uint16_t>(height + 1);
          if (o.height > Reader::kMaxDepth) return std::nullopt;
        }
        p += refs * refSize;
        break;
      }
      default:
        return std::nullopt;
    }
    used += p - offset;
    if (used > budget) return std::nullopt;
    objects.push_back(o);
  }

  Reader reader(bytes, refSize, top, std::move(objects));
  // When every collection refers only to objects before it (as our writer
  // lays them out) there is no cycle and the heights are already known.
  if (!childrenFirst && !reader.checkGraph()) return std::nullopt;
  return reader;
}

ObjectRef Reader::readRef(std::uint64_t position, std::uint64_t index) const {
  return readBE(bytes_.data() + position + index * refSize_, refSize_);
}

bool Reader::checkGraph() const {
  // Depth-first walk over every collection: a collection met again while it
  // is still on the path is a cycle. Shared objects are walked once; their
  // height (collections on the longest way down, themselves included) is
  // kept, so nesting is measured however the walk first reached them.
  enum : std::uint8_t { kUnseen, kOnPath, kDone };
  std::vector<std::uint8_t> state(objects_.size(), kUnseen);
  std::vector<std::uint16_t> height(objects_.size(), 0);
  struct Frame {
    ObjectRef ref;
    std::uint64_t next;
    std::uint64_t refs;
  };
  std::vector<Frame> path;
  auto isCollection = [&](ObjectRef r) {
    const Type t = objects_[r].type;
    return t == Type::Array || t == Type::Set || t == Type::Dictionary;
  };
  auto refsOf = [&](ObjectRef r) -> std::uint64_t {
    return objects_[r].type == Type::Dictionary ? 2 * objects_[r].count : objects_[r].count;
  };
  for (ObjectRef start = 0; start < objects_.size(); ++start) {
    if (state[start] != kUnseen) continue;
    if (!isCollection(start)) {
      state[start] = kDone;
      continue;
    }
    state[start] = kOnPath;
    path.push_back({start, 0, refsOf(start)});
    while (!path.empty()) {
      Frame& f = path.back();
      if (f.next == f.refs) {
        const ObjectRef done = f.ref;
        state[done] = kDone;
        height[done] = static_cast<std::uint16_t>(height[done] + 1);
        if (height[done] > kMaxDepth) return false;
        path.pop_back();
        if (!path.empty()) {
          auto& parentHeight = height[path.back().ref];
          parentHeight = std::max(parentHeight, height[done]);
        }
        continue;
      }
      const ObjectRef child = readRef(objects_[f.ref].a, f.next++);
      if (state[child] == kOnPath) return false;
      if (state[child] == kDone) {
        height[f.ref] = std::max(height[f.ref], height[child]);
        continue;
      }
      if (!isCollection(child)) {
        state[child] = kDone;
        continue;
      }
      if (path.size() >= kMaxDepth) return false;
      state[child] = kOnPath;
      path.push_back({child, 0, refsOf(child)});
    }
  }
  return true;
}

ByteView Reader::bytes(ObjectRef ref) const {
  const Object& o = objects_[ref];
  switch (o.type) {
    case Type::Data:
    case Type::AsciiString:
      return bytes_.subspan(o.a, o.count);
    case Type::Utf16String:
      return bytes_.subspan(o.a, 2 * o.count);
    default:
      return {};
  }
}

std::optional<std::string> Reader::string(ObjectRef ref) const {
  const Object& o = objects_[ref];
  if (o.type == Type::AsciiString)
    return std::string(reinterpret_cast<const char*>(bytes_.data() + o.a), o.count);
  if (o.type == Type::Utf16String) {
    std::string out;
    appendUtf16BEAsUtf8(out, bytes(ref));
    return out;
  }
  return std::nullopt;
}

bool Reader::stringEquals(ObjectRef ref, std::string_view utf8) const {
  const Object& o = objects_[ref];
  if (o.type == Type::AsciiString)
    return o.count == utf8.size() &&
           std::memcmp(bytes_.data() + o.a, utf8.data(), utf8.size()) == 0;
  if (o.type == Type::Utf16String) {
    // A UTF-16 string has at least as many UTF-8 bytes as code units.
    if (o.count > utf8.size()) return false;
    const auto text = string(ref);
    return text && *text == utf8;
  }
  return false;
}

namespace {
thread_local std::uint64_t keysExamined = 0;
}  // namespace

std::uint64_t Reader::keysExaminedOnThisThread() { return keysExamined; }

std::optional<ObjectRef> Reader::lookup(ObjectRef dictionary, std::string_view key) const {
  if (objects_[dictionary].type != Type::Dictionary) return std::nullopt;
  const std::uint64_t n = objects_[dictionary].count;
  keysExamined += n;
  for (std::uint64_t i = 0; i < n; ++i)
    if (stringEquals(this->key(dictionary, i), key)) return value(dictionary, i);
  return std::nullopt;
}

}  // namespace orvane::bplist

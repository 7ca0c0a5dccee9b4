#include <algorithm>
#include <cstring>
#include <list>
#include <mutex>
#include <utility>

#include "Platform/CoreGraphics/ColorSpaceInternal.h"

namespace orvane {

namespace {

// lcms2 reads profiles lazily; making transforms from shared profiles is
// serialised here. Applying a finished transform needs no lock.
std::mutex& lcmsMutex() {
  static std::mutex m;
  return m;
}

std::shared_ptr<const Data> saveProfile(cmsHPROFILE profile) {
  cmsUInt32Number size = 0;
  if (!cmsSaveProfileToMem(profile, nullptr, &size) || size == 0) return std::make_shared<Data>();
  auto bytes = std::make_shared<Data>(size);
  if (!cmsSaveProfileToMem(profile, bytes->data(), &size)) return std::make_shared<Data>();
  bytes->resize(size);
  return bytes;
}

cmsHPROFILE rgbProfile(const cmsCIExyYTRIPLE& primaries, cmsToneCurve* curve) {
  cmsCIExyY white;
  cmsWhitePointFromTemp(&white, 6504);
  cmsToneCurve* curves[3] = {curve, curve, curve};
  cmsHPROFILE p = cmsCreateRGBProfile(&white, &primaries, curves);
  cmsFreeToneCurve(curve);
  return p;
}

cmsToneCurve* srgbCurve() {
  // IEC 61966-2-1: Y = ((aX + b)^g) above d, cX below.
  const cmsFloat64Number params[5] = {2.4, 1.0 / 1.055, 0.055 / 1.055, 1.0 / 12.92, 0.04045};
  return cmsBuildParametricToneCurve(nullptr, 4, params);
}

const cmsCIExyYTRIPLE kSRGBPrimaries = {{0.6400, 0.3300, 1.0}, {0.3000, 0.6000, 1.0},
                                        {0.1500, 0.0600, 1.0}};
const cmsCIExyYTRIPLE kP3Primaries = {{0.6800, 0.3200, 1.0}, {0.2650, 0.6900, 1.0},
                                      {0.1500, 0.0600, 1.0}};
const cmsCIExyYTRIPLE kAdobePrimaries = {{0.6400, 0.3300, 1.0}, {0.2100, 0.7100, 1.0},
                                         {0.1500, 0.0600, 1.0}};

CGColorSpaceRef makeNamed(std::string_view name, std::string_view matchName) {
  cmsHPROFILE profile = nullptr;
  CGColorSpaceModel model = kCGColorSpaceModelRGB;
  if (matchName == kCGColorSpaceSRGB) {
    profile = cmsCreate_sRGBProfile();
  } else if (matchName == kCGColorSpaceLinearSRGB) {
    profile = rgbProfile(kSRGBPrimaries, cmsBuildGamma(nullptr, 1.0));
  } else if (matchName == kCGColorSpaceDisplayP3) {
    profile = rgbProfile(kP3Primaries, srgbCurve());
  } else if (matchName == kCGColorSpaceAdobeRGB1998) {
    profile = rgbProfile(kAdobePrimaries, cmsBuildGamma(nullptr, 563.0 / 256.0));
  } else if (matchName == kCGColorSpaceGenericGrayGamma2_2) {
    model = kCGColorSpaceModelMonochrome;
    cmsToneCurve* curve = cmsBuildGamma(nullptr, 2.2);
    profile = cmsCreateGrayProfile(cmsD50_xyY(), curve);
    cmsFreeToneCurve(curve);
  }
  if (!profile) return nullptr;
  auto icc = saveProfile(profile);
  return std::make_shared<const CGColorSpace>(model, std::string(name), std::string(matchName),
                                              std::move(icc), profile);
}

}  // namespace

CGColorSpace::~CGColorSpace() {
  if (profile_) cmsCloseProfile(profile_);
}

CGColorSpaceRef CGColorSpaceCreateWithName(std::string_view name) {
  // Each named space is made once and shared.
  static const CGColorSpaceRef srgb = makeNamed(kCGColorSpaceSRGB, kCGColorSpaceSRGB);
  static const CGColorSpaceRef linear = makeNamed(kCGColorSpaceLinearSRGB, kCGColorSpaceLinearSRGB);
  static const CGColorSpaceRef p3 = makeNamed(kCGColorSpaceDisplayP3, kCGColorSpaceDisplayP3);
  static const CGColorSpaceRef adobe =
      makeNamed(kCGColorSpaceAdobeRGB1998, kCGColorSpaceAdobeRGB1998);
  static const CGColorSpaceRef gray =
      makeNamed(kCGColorSpaceGenericGrayGamma2_2, kCGColorSpaceGenericGrayGamma2_2);
  if (name == kCGColorSpaceSRGB) return srgb;
  if (name == kCGColorSpaceLinearSRGB) return linear;
  if (name == kCGColorSpaceDisplayP3) return p3;
  if (name == kCGColorSpaceAdobeRGB1998) return adobe;
  if (name == kCGColorSpaceGenericGrayGamma2_2) return gray;
  return nullptr;
}

CGColorSpaceRef CGColorSpaceCreateDeviceRGB() {
  static const CGColorSpaceRef space = makeNamed(kCGColorSpaceDeviceRGB, kCGColorSpaceSRGB);
  return space;
}

CGColorSpaceRef CGColorSpaceCreateDeviceGray() {
  static const CGColorSpaceRef space =
      makeNamed(kCGColorSpaceDeviceGray, kCGColorSpaceGenericGrayGamma2_2);
  return space;
}

CGColorSpaceRef CGColorSpaceCreateWithICCData(ByteView icc) {
  if (icc.size() < 132 || icc.size() > (std::size_t{1} << 26)) return nullptr;
  cmsHPROFILE profile;
  {
    std::lock_guard lock(lcmsMutex());
    profile = cmsOpenProfileFromMem(icc.data(), static_cast<cmsUInt32Number>(icc.size()));
  }
  if (!profile) return nullptr;
  const cmsColorSpaceSignature sig = cmsGetColorSpace(profile);
  CGColorSpaceModel model;
  if (sig == cmsSigRgbData) {
    model = kCGColorSpaceModelRGB;
  } else if (sig == cmsSigGrayData) {
    model = kCGColorSpaceModelMonochrome;
  } else {
    cmsCloseProfile(profile);
    return nullptr;
  }
  // A profile must be able to convert colours from its space into the
  // connection space; check by making a transform into sRGB (or gray) once.
  cmsHPROFILE probe = model == kCGColorSpaceModelRGB ? cmsCreate_sRGBProfile() : nullptr;
  if (!probe) {
    cmsToneCurve* curve = cmsBuildGamma(nullptr, 2.2);
    probe = cmsCreateGrayProfile(cmsD50_xyY(), curve);
    cmsFreeToneCurve(curve);
  }
  const cmsUInt32Number format = model == kCGColorSpaceModelRGB ? TYPE_RGB_FLT : TYPE_GRAY_FLT;
  cmsHTRANSFORM t;
  {
    std::lock_guard lock(lcmsMutex());
    t = cmsCreateTransform(profile, format, probe, format, INTENT_RELATIVE_COLORIMETRIC,
                           cmsFLAGS_NOCACHE);
  }
  cmsCloseProfile(probe);
  if (!t) {
    cmsCloseProfile(profile);
    return nullptr;
  }
  cmsDeleteTransform(t);
  return std::make_shared<const CGColorSpace>(model, std::nullopt, std::string(),
                                              std::make_shared<const Data>(dataOf(icc)), profile);
}

std::optional<std::string> CGColorSpaceCopyName(const CGColorSpaceRef& space) {
  if (!space) return std::nullopt;
  return space->name();
}

std::size_t CGColorSpaceGetNumberOfComponents(const CGColorSpaceRef& space) {
  return space ? static_cast<std::size_t>(space->components()) : 0;
}

CGColorSpaceModel CGColorSpaceGetModel(const CGColorSpaceRef& space) {
  return space ? space->model() : kCGColorSpaceModelUnknown;
}

std::shared_ptr<const Data> CGColorSpaceCopyICCData(const CGColorSpaceRef& space) {
  return space ? space->icc() : nullptr;
}

bool CGColorSpaceEqualToColorSpace(const CGColorSpaceRef& a, const CGColorSpaceRef& b) {
  if (!a || !b) return false;
  if (a == b) return true;
  if (!a->matchName().empty() || !b->matchName().empty()) return a->matchName() == b->matchName();
  return a->model() == b->model() && *a->icc() == *b->icc();
}

// ---------------------------------------------------------------------------

ColorMatch::~ColorMatch() { cmsDeleteTransform(transform_); }

void ColorMatch::apply(const float* in, float* out, std::size_t count) const {
  while (count > 0) {
    const std::size_t n = std::min<std::size_t>(count, 1u << 20);
    cmsDoTransform(transform_, in, out, static_cast<cmsUInt32Number>(n));
    in += n * static_cast<std::size_t>(inComponents_);
    out += n * static_cast<std::size_t>(outComponents_);
    count -= n;
  }
}

std::shared_ptr<const ColorMatch> ColorMatch::between(const CGColorSpaceRef& from,
                                                      const CGColorSpaceRef& to) {
  if (!from || !to || CGColorSpaceEqualToColorSpace(from, to)) return nullptr;
  struct Entry {
    CGColorSpaceRef from, to;
    std::shared_ptr<const ColorMatch> match;
  };
  static std::mutex cacheMutex;
  static std::list<Entry> cache;  // most recently used first
  constexpr std::size_t kCacheSize = 16;
  {
    std::lock_guard lock(cacheMutex);
    for (auto it = cache.begin(); it != cache.end(); ++it) {
      if (it->from == from && it->to == to) {
        cache.splice(cache.begin(), cache, it);
        return cache.front().match;
      }
    }
  }
  const cmsUInt32Number inFormat = from->components() == 3 ? TYPE_RGB_FLT : TYPE_GRAY_FLT;
  const cmsUInt32Number outFormat = to->components() == 3 ? TYPE_RGB_FLT : TYPE_GRAY_FLT;
  cmsHTRANSFORM t;
  {
    std::lock_guard lock(lcmsMutex());
    t = cmsCreateTransform(from->profile(), inFormat, to->profile(), outFormat,
                           INTENT_RELATIVE_COLORIMETRIC, cmsFLAGS_NOCACHE);
  }
  if (!t) return nullptr;
  auto match = std::make_shared<const ColorMatch>(t, from->components(), to->components());
  std::lock_guard lock(cacheMutex);
  cache.push_front({from, to, match});
  if (cache.size() > kCacheSize) cache.pop_back();
  return match;
}

}  // namespace orvane

#pragma once

// The class behind CGColorSpace, and colour matching between two spaces.

#include <lcms2.h>

#include <memory>
#include <optional>
#include <string>

#include "orvane/Platform/CoreGraphics/CGColorSpace.h"

namespace orvane {

class CGColorSpace {
 public:
  /// Takes ownership of `profile`. `matchName` is the name equal spaces share
  /// (sRGB for device RGB too), empty for a space made from ICC bytes.
  CGColorSpace(CGColorSpaceModel model, std::optional<std::string> name, std::string matchName,
               std::shared_ptr<const Data> icc, cmsHPROFILE profile)
      : model_(model),
        name_(std::move(name)),
        matchName_(std::move(matchName)),
        icc_(std::move(icc)),
        profile_(profile) {}
  ~CGColorSpace();
  CGColorSpace(const CGColorSpace&) = delete;
  CGColorSpace& operator=(const CGColorSpace&) = delete;

  CGColorSpaceModel model() const noexcept { return model_; }
  int components() const noexcept { return model_ == kCGColorSpaceModelRGB ? 3 : 1; }
  const std::optional<std::string>& name() const noexcept { return name_; }
  const std::string& matchName() const noexcept { return matchName_; }
  const std::shared_ptr<const Data>& icc() const noexcept { return icc_; }
  cmsHPROFILE profile() const noexcept { return profile_; }

 private:
  CGColorSpaceModel model_;
  std::optional<std::string> name_;
  std::string matchName_;
  std::shared_ptr<const Data> icc_;
  cmsHPROFILE profile_;
};

/// Relative colorimetric matching of unpremultiplied float colours (0...1;
/// 3 per pixel for RGB, 1 for gray) from one space into another. Transforms
/// are made once per pair of spaces and kept in a small cache; applying one
/// is safe from several threads.
class ColorMatch {
 public:
  /// The matching from `from` to `to`; null when the spaces are equal (no
  /// matching needed) or lcms2 cannot connect them.
  static std::shared_ptr<const ColorMatch> between(const CGColorSpaceRef& from,
                                                   const CGColorSpaceRef& to);
  ~ColorMatch();
  ColorMatch(const ColorMatch&) = delete;
  ColorMatch& operator=(const ColorMatch&) = delete;

  /// Converts `count` pixels.
  void apply(const float* in, float* out, std::size_t count) const;
  int inComponents() const noexcept { return inComponents_; }
  int outComponents() const noexcept { return outComponents_; }

  ColorMatch(cmsHTRANSFORM transform, int in, int out)
      : transform_(transform), inComponents_(in), outComponents_(out) {}

 private:
  cmsHTRANSFORM transform_;
  int inComponents_;
  int outComponents_;
};

}  // namespace orvane

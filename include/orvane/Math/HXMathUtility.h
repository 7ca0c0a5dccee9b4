#pragma once

#include <memory>

#include "orvane/Export.h"
#include "orvane/Platform/CoreGraphics/CGGeometry.h"
#include "orvane/Platform/AppKit/NSAffineTransform.h"

namespace orvane {

/// Constants, unit conversions and plane geometry. Class-level operations
/// only.
///
/// Every operation is evaluated in double precision in exactly the order its
/// comment shows (the library is built without floating-point contraction or
/// reassociation), so results are reproducible bit for bit. Nothing is
/// validated: zeros, infinities and not-a-numbers pass through the arithmetic.
class ORVANE_EXPORT HXMathUtility {
 public:
  HXMathUtility() = delete;

  // The stored constants. The two length factors are the single-precision
  // values 2.54 and 25.4 widened to double, not the decimal values.
  static constexpr double kPrecision = 0x1.a36e2eb1c432dp-14;          // 0.0001
  static constexpr double kDegreesInHalfTurn = 180.0;                  // 0x4066800000000000
  static constexpr double kPi = 0x1.921fb54442d18p+1;                  // 3.141592653589793
  static constexpr double kPi_2 = 0x1.921fb54442d18p+0;                // 1.5707963267948966
  static constexpr double kPi_4 = 0x1.921fb54442d18p-1;                // 0.7853981633974483
  static constexpr double kCentimetersPerInch = 0x1.451eb8p+1;         // 2.5399999618530273
  static constexpr double kMillimetersPerInch = 0x1.9666660000000p+4;  // 25.399999618530273

  /// The geometric tolerance: a value counts as zero when its absolute value
  /// is strictly less.
  static double precision();
  static double pi();
  static double pi_2();
  /// pi() / 3.0.
  static double pi_3();
  static double pi_4();

  /// (x / 180.0) * pi
  static double radiansFromDegress(double x);
  /// (x / pi) * 180.0
  static double radiansToDegress(double x);

  /// x / 2.5399999618530273
  static double inchesFromCM(double x);
  /// x * 2.5399999618530273
  static double inchesToCM(double x);
  /// x / 25.399999618530273
  static double inchesFromMM(double x);
  /// (x * 2.5399999618530273) * 10.0: the centimetre factor, not the millimetre one.
  static double inchesToMM(double x);

  /// x / dpi
  static double pixelsWideToInchesWithDPI(double x, double dpi);
  /// v * dpi
  static double pixelsWideFromInchesWithDPI(double v, double dpi);
  /// inchesToCM(x / dpi)
  static double pixelsWideToCMWithDPI(double x, double dpi);
  /// inchesFromCM(v) * dpi
  static double pixelsWideFromCMWithDPI(double v, double dpi);
  /// inchesToMM(x / dpi)
  static double pixelsWideToMMWithDPI(double x, double dpi);
  /// inchesFromMM(v) * dpi
  static double pixelsWideFromMMWithDPI(double v, double dpi);

  /// sqrt((a.x - b.x)^2 + (a.y - b.y)^2).
  static double distanceBetweenPointToPoint(CGPoint a, CGPoint b);

  /// The side of the line through p1 and p2 on which `point` lies: 0 above it
  /// (or right of a vertical line), 1 below it (or left), 2 on it, when the
  /// comparison is not a number, and when p1 and p2 are closer than the
  /// tolerance (then the line "Info, can not make line, points are the same."
  /// is logged).
  static int pointRelativeToLineWithPoint1Point2(CGPoint point, CGPoint p1, CGPoint p2);

  /// The angle at `center` from `a` to `b`, in [0, pi] by the law of cosines,
  /// positive when `b` lies above the line from `a` through `center` (side 0)
  /// and negated otherwise, on the line included. 0.0 with the log line
  /// "Can not calc radian." when any two of the points nearly coincide.
  static double radianFromPointToPointWithCenter(CGPoint a, CGPoint b, CGPoint center);
  /// radiansToDegress of radianFromPointToPointWithCenter.
  static double degreeFromPointToPointWithCenter(CGPoint a, CGPoint b, CGPoint center);

  /// The distance from the centre of `rect` to the inscribed ellipse in the
  /// direction `angle` (radians), with both semi-axes taken at least 1.0.
  static double radiusAtOvalWithRectInAngle(CGRect rect, double angle);
  /// The point of the inscribed ellipse in the direction `angle`: the centre of
  /// `rect` plus radiusAtOvalWithRectInAngle along that direction.
  static CGPoint pointAtOvalWithRectInAngle(CGRect rect, double angle);

  /// `size` scaled, keeping its proportions, to touch `target` on one side and
  /// fit inside it on the other. A source whose width or height is below the
  /// tolerance gives `target` unchanged.
  static CGSize fitSizeIntoSize(CGSize size, CGSize target);

  /// A new transform turning points counter-clockwise by `degrees` about
  /// `center`: p' = center + Rot(degrees) (p - center).
  static std::shared_ptr<NSAffineTransform> rotateDegreeWithCenter(double degrees, CGPoint center);
  /// rotateDegreeWithCenter of radiansToDegress(radians).
  static std::shared_ptr<NSAffineTransform> rotateRedianWithCenter(double radians, CGPoint center);
};

}  // namespace orvane

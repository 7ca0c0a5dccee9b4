// This file is compiled with -ffp-contract=off (see CMakeLists.txt): every
// expression is rounded step by step in the order written.
#include "orvane/Math/HXMathUtility.h"

#include <cmath>

#include "Math/OvalGeometry.h"
#include "orvane/Platform/Foundation/NSLog.h"

namespace orvane {

double HXMathUtility::precision() { return kPrecision; }
double HXMathUtility::pi() { return kPi; }
double HXMathUtility::pi_2() { return kPi_2; }
double HXMathUtility::pi_3() { return pi() / 3.0; }
double HXMathUtility::pi_4() { return kPi_4; }

double HXMathUtility::radiansFromDegress(double x) { return (x / kDegreesInHalfTurn) * pi(); }
double HXMathUtility::radiansToDegress(double x) { return (x / pi()) * kDegreesInHalfTurn; }

double HXMathUtility::inchesFromCM(double x) { return x / kCentimetersPerInch; }
double HXMathUtility::inchesToCM(double x) { return x * kCentimetersPerInch; }
double HXMathUtility::inchesFromMM(double x) { return x / kMillimetersPerInch; }
double HXMathUtility::inchesToMM(double x) { return (x * kCentimetersPerInch) * 10.0; }

double HXMathUtility::pixelsWideToInchesWithDPI(double x, double dpi) { return x / dpi; }
double HXMathUtility::pixelsWideFromInchesWithDPI(double v, double dpi) { return v * dpi; }
double HXMathUtility::pixelsWideToCMWithDPI(double x, double dpi) { return inchesToCM(x / dpi); }
double HXMathUtility::pixelsWideFromCMWithDPI(double v, double dpi) {
  return inchesFromCM(v) * dpi;
}
double HXMathUtility::pixelsWideToMMWithDPI(double x, double dpi) { return inchesToMM(x / dpi); }
double HXMathUtility::pixelsWideFromMMWithDPI(double v, double dpi) {
  return inchesFromMM(v) * dpi;
}

double HXMathUtility::distanceBetweenPointToPoint(CGPoint a, CGPoint b) {
  const double dx = a.x - b.x;
  const double dy = a.y - b.y;
  return std::sqrt(dx * dx + dy * dy);
}

namespace {

// 0 when value > reference, 1 when less, 2 when equal or unordered.
int sideCode(double value, double reference) {
  if (value > reference) return 0;
  if (value < reference) return 1;
  return 2;
}

}  // namespace

int HXMathUtility::pointRelativeToLineWithPoint1Point2(CGPoint point, CGPoint p1, CGPoint p2) {
  if (std::fabs(distanceBetweenPointToPoint(p1, p2)) < precision()) {
    NSLog("Info, can not make line, points are the same.");
    return 2;
  }
  // A vertical line compares against the second point's x, a horizontal one
  // against the first point's y: the two coordinates differ by less than the
  // tolerance, so either would do.
  if (std::fabs(p1.x - p2.x) < precision()) return sideCode(point.x, p2.x);
  if (std::fabs(p1.y - p2.y) < precision()) return sideCode(point.y, p1.y);
  const double lineY = p1.y + ((point.x - p1.x) * (p2.y - p1.y)) / (p2.x - p1.x);
  return sideCode(point.y, lineY);
}

double HXMathUtility::radianFromPointToPointWithCenter(CGPoint a, CGPoint b, CGPoint center) {
  const double ac = distanceBetweenPointToPoint(a, center);
  const double bc = distanceBetweenPointToPoint(b, center);
  const double ab = distanceBetweenPointToPoint(a, b);
  if (std::fabs(ac) < precision() || std::fabs(bc) < precision() || std::fabs(ab) < precision()) {
    NSLog("Can not calc radian.");
    return 0.0;
  }
  const double angle = std::acos((ac * ac + bc * bc - ab * ab) / ((ac + ac) * bc));
  // Only side 0 counts as positive: a point on the line gives -angle.
  return pointRelativeToLineWithPoint1Point2(b, a, center) == 0 ? angle : -angle;
}

double HXMathUtility::degreeFromPointToPointWithCenter(CGPoint a, CGPoint b, CGPoint center) {
  return radiansToDegress(radianFromPointToPointWithCenter(a, b, center));
}

double HXMathUtility::radiusAtOvalWithRectInAngle(CGRect rect, double angle) {
  return ovalRadius(rect, std::sin(angle), std::cos(angle));
}

CGPoint HXMathUtility::pointAtOvalWithRectInAngle(CGRect rect, double angle) {
  return ovalPoint(rect, angle);
}

CGSize HXMathUtility::fitSizeIntoSize(CGSize size, CGSize target) {
  const double w1 = size.width, h1 = size.height;
  const double w2 = target.width, h2 = target.height;
  if (std::fabs(w1) < precision()) return target;
  if (std::fabs(h1) < precision()) return target;
  // Ties and unordered comparisons take the width of the target.
  if (!(h1 * w2 > w1 * h2)) return {w2, (h1 * w2) / w1};
  return {(w1 * h2) / h1, h2};
}

std::shared_ptr<NSAffineTransform> HXMathUtility::rotateDegreeWithCenter(double degrees,
                                                                         CGPoint center) {
  // The newest step applies first: move the centre to the origin, turn, move back.
  auto transform = NSAffineTransform::transform();
  transform->translateXByYBy(center.x, center.y);
  transform->rotateByDegrees(degrees);
  transform->translateXByYBy(-center.x, -center.y);
  return transform;
}

std::shared_ptr<NSAffineTransform> HXMathUtility::rotateRedianWithCenter(double radians,
                                                                         CGPoint center) {
  return rotateDegreeWithCenter(radiansToDegress(radians), center);
}

}  // namespace orvane

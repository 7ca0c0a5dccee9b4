#include "orvane/Platform/AppKit/NSGraphicsContext.h"

#include <vector>

namespace orvane {

namespace {

struct ThreadState {
  std::shared_ptr<NSGraphicsContext> current;
  std::vector<std::shared_ptr<NSGraphicsContext>> saved;
};

ThreadState& threadState() {
  thread_local ThreadState state;
  return state;
}

}  // namespace

std::shared_ptr<NSGraphicsContext> NSGraphicsContext::graphicsContextWithCGContextFlipped(
    CGContextRef context, bool flipped) {
  if (!context) return nullptr;
  return std::make_shared<NSGraphicsContext>(std::move(context), flipped);
}

std::shared_ptr<NSGraphicsContext> NSGraphicsContext::currentContext() {
  return threadState().current;
}

void NSGraphicsContext::setCurrentContext(std::shared_ptr<NSGraphicsContext> context) {
  threadState().current = std::move(context);
}

void NSGraphicsContext::saveGraphicsState() {
  ThreadState& s = threadState();
  if (s.current) CGContextSaveGState(s.current->CGContext());
  s.saved.push_back(s.current);
}

void NSGraphicsContext::restoreGraphicsState() {
  ThreadState& s = threadState();
  if (s.saved.empty()) return;
  s.current = std::move(s.saved.back());
  s.saved.pop_back();
  if (s.current) CGContextRestoreGState(s.current->CGContext());
}

}  // namespace orvane

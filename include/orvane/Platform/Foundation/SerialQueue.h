#pragma once

#include <mutex>
#include <utility>

namespace orvane {

/// A serial queue with synchronous dispatch: sync(fn) runs fn on the calling
/// thread while holding the queue's own mutex, so work given to one queue never
/// overlaps and the caller waits for it. Calling sync from inside a function
/// already running on the same queue deadlocks, as with any serial queue.
class SerialQueue {
 public:
  SerialQueue() = default;
  SerialQueue(const SerialQueue&) = delete;
  SerialQueue& operator=(const SerialQueue&) = delete;

  template <class Fn>
  decltype(auto) sync(Fn&& fn) {
    std::lock_guard<std::mutex> lock(mutex_);
    return std::forward<Fn>(fn)();
  }

 private:
  std::mutex mutex_;
};

}  // namespace orvane

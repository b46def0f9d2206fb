// How long a program that ended rests before it is started again.
#pragma once

#include <algorithm>
#include <chrono>

namespace expert {

using Time = std::chrono::milliseconds;  // of a clock that nobody sets

class Pause {
 public:
  static constexpr Time shortest = std::chrono::seconds(1);
  static constexpr Time longest = std::chrono::minutes(5);
  static constexpr Time long_life = std::chrono::minutes(10);

  // After a life of that length. Twice the one before, unless the program had lived long.
  [[nodiscard]] Time after(Time life) {
    last_ = last_ == Time() || life >= long_life ? shortest : std::min(2 * last_, longest);
    return last_;
  }
  void reset() { last_ = Time(); }

 private:
  Time last_{};
};

}  // namespace expert

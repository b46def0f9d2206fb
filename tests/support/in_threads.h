// Work of a test on several threads at once.
#pragma once

#include <thread>
#include <vector>

namespace ox::test {

// Runs `body(0)`, `body(1)`, ... on threads of their own until all have come to their end.
template <class Body>
void in_threads(int count, Body body) {
  std::vector<std::thread> threads;
  for (int i = 0; i < count; ++i) threads.emplace_back(body, i);
  for (std::thread& thread : threads) thread.join();
}

}  // namespace ox::test

// What waits for its turn, which goes round from client to client: who has much waiting keeps nobody else waiting long.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <utility>

namespace ox::manager {

template <class Item>
class FairQueue {
 public:
  [[nodiscard]] std::size_t size() const { return size_; }
  [[nodiscard]] bool empty() const { return size_ == 0; }

  void push(std::uint32_t client, Item item) {
    auto& items = of_clients_[client];
    items.push_back(std::move(item));
    if (items.size() == 1) turns_.push_back(client);
    ++size_;
  }
  // The first one of the client whose turn it is. There is one.
  [[nodiscard]] Item& front() { return of_clients_.find(turns_.front())->second.front(); }
  void pop() {
    const auto client = of_clients_.find(turns_.front());
    client->second.pop_front();
    if (client->second.empty()) {
      of_clients_.erase(client);
    } else {
      turns_.push_back(client->first);
    }
    turns_.pop_front();
    --size_;
  }

 private:
  std::map<std::uint32_t, std::deque<Item>> of_clients_;  // those that have any
  std::deque<std::uint32_t> turns_;                       // of these
  std::size_t size_ = 0;
};

}  // namespace ox::manager

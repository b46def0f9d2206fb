// The list of trap definitions and its index.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>
#include <unordered_map>

#include "deffile/trap_tag.h"

// Records of one enterprise stand together. Among them the order decides which of several that match is found.
struct oxcTrConf {
 public:
  oxcTrConf() = default;
  ~oxcTrConf();
  oxcTrConf(const oxcTrConf&) = delete;
  oxcTrConf& operator=(const oxcTrConf&) = delete;

  // Puts a record in its place; it is taken over when nothing is thrown.
  void add(ox::tag_ptr& tag);

  [[nodiscard]] const oxcTrTag* first() const noexcept { return head_; }

  // The first match, null when there is none. No allocation, no lock.
  [[nodiscard]] const oxcTrTag* find(std::string_view enterprise, std::uint32_t generic,
                                     std::uint32_t specific) const noexcept;

 private:
  // The records with one combination of "any" marks, for the numbers that they give exactly.
  struct Place {
    const oxcTrTag* tag;
    std::uint64_t order;  // among the records with as many "any" marks: the smaller one stands first in the list
  };
  using Numbers = std::unordered_map<std::uint64_t, Place>;
  static constexpr std::size_t marks = 4;  // none, any generic, any specific, both
  static constexpr std::size_t ranks = 6;  // exact, user's and others; one mark; two marks
  struct Enterprise {
    oxcTrTag* first = nullptr;
    std::array<oxcTrTag*, ranks> last{};
    std::array<Numbers, marks> numbers;
  };

  // Puts the numbers of a record that will be of this order into the index.
  static void note(Enterprise& enterprise, const oxcTrTag& tag, std::uint64_t order);
  void link(Enterprise& enterprise, std::size_t rank, oxcTrTag* tag) noexcept;
  void insert_after(oxcTrTag* before, oxcTrTag* tag) noexcept;

  oxcTrTag* head_ = nullptr;
  std::uint32_t added_ = 0;
  std::unordered_map<std::string_view, Enterprise> enterprises_;  // keys are the texts of the first records
};

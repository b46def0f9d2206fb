// What is promised of an acknowledged change.
#pragma once

namespace ox::manager {

enum class Durability {
  process,  // it survives the death of the manager
  power,    // and the loss of power
};

}  // namespace ox::manager

// The code page in which the texts of the store are: noted beside it when it is made.
#pragma once

#include <string>

namespace ox::manager {

// Notes the installation's code page in the folder of the store, where none is noted.
void note_page(const std::string& folder);
// What it means that the installation's is another one now; empty when it is not.
[[nodiscard]] std::string page_warning(const std::string& folder);

// What is wrong with the setting; empty when nothing is.
[[nodiscard]] std::string page_fault();

}  // namespace ox::manager

// What stands in every page as it is.
#pragma once

#include <string_view>

namespace report {

extern const std::string_view page_style;
extern const std::string_view page_script;

// dygraphs, which draws the plots: made from the installed package when the program is built.
extern const std::string_view dygraphs_script;
extern const std::string_view dygraphs_style;
extern const std::string_view dygraphs_licence;

}  // namespace report

#include "entries/copied_title.h"

#include "common/installed_page.h"
#include "data/value_texts.h"

namespace ox::entries {

OX_RESULT add_copied_title(const dnode& node, Nodes& nodes) {
  const char* title = nullptr;
  if (const OX_RESULT result = data::display_text(node, title)) return result == OX_ENOMEM ? result : OX_RESULT{OX_OK};
  const std::string copied = std::string(title) + composed("(\x83\x52\x83\x73\x81\x5B)");
  return nodes.add(node.amib_name.text, copied.c_str());
}

}  // namespace ox::entries

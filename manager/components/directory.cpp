#include "manager/components/directory.h"

namespace ox::manager {

OX_RESULT Directory::find_type(std::string& type) const {
  type = vocabulary_.canonical_type(type);
  return vocabulary_.has_type(type) ? OX_RESULT{OX_OK} : OX_RESULT{OX_ENOTYPE};
}

OX_RESULT Directory::find(ComponentName& name) const {
  if (const OX_RESULT result = find_type(name.type)) return result;
  return store_.has(name) ? OX_OK : OX_ENOCOMP;
}

OX_RESULT Directory::parse(const std::string& text, ComponentName& name) const {
  if (const OX_RESULT result = parse_component_name(text, name)) return result;
  return is_pattern(name.name) ? find_type(name.type) : find(name);
}

OX_RESULT Directory::match(const std::string& text, std::vector<ComponentName>& found) const {
  ComponentName name;
  if (const OX_RESULT result = parse(text, name)) return result;
  if (is_pattern(name.name)) {
    found = store_.matching(name);
  } else {
    found.push_back(std::move(name));
  }
  return OX_OK;
}

}  // namespace ox::manager

// Paths in the form in which the system's files store them: relative to the home or work directory of whoever reads.
#include <string>
#include <string_view>

#include <oxbase/oxc.h>

#include "common/context.h"
#include "common/paths.h"
#include "common/settings.h"
#include "common/text_result.h"

namespace ox {
namespace {

constexpr std::string_view home_mark = "$homedir";
constexpr std::string_view work_mark = "$workdir";
constexpr std::size_t longest_path = 1023;

struct FullPath {
  std::string text;
};
struct StoredPath {
  std::string text;
};

// Whether the path is the directory or lies below it; "/opt/base2" is not below "/opt/base". An unset directory
// holds nothing. Letters must agree in case, since a path that is left as it is stays right everywhere.
bool is_below(std::string_view path, std::string_view directory) noexcept {
  if (directory.empty() || !begins_with(path, directory)) return false;
  return path.size() == directory.size() || is_separator(path[directory.size()]);
}

const char* full_path(std::string_view path) {
  const bool at_home = is_below(path, home_mark);
  const std::string_view directory = at_home                     ? settings::home_directory()
                                     : is_below(path, work_mark) ? settings::work_directory()
                                                                 : "";
  std::string full;
  if (!directory.empty()) {
    full.append(directory).append(path.substr(home_mark.size()));
    use_platform_separator(full);
  } else {
    full = path;
  }
  return (context<FullPath>().text = std::move(full)).c_str();
}
static_assert(home_mark.size() == work_mark.size());

const char* stored_path(std::string_view path) {
  const std::string_view home = settings::home_directory();
  const std::string_view work = settings::work_directory();
  const bool at_home = is_below(path, home);
  const bool at_work = is_below(path, work) && !(at_home && home.size() > work.size());
  std::string stored;
  if (at_work) {
    stored.append(work_mark).append(path.substr(work.size()));
  } else if (at_home) {
    stored.append(home_mark).append(path.substr(home.size()));
  } else {
    stored = path;
  }
  return (context<StoredPath>().text = std::move(stored)).c_str();
}

bool is_accepted(const char* path) noexcept { return path != nullptr && std::string_view(path).size() <= longest_path; }

}  // namespace
}  // namespace ox

const char* OX_CALL conf_file(const char* path) {
  OX_ENTRY("conf_file", ":%s", ox::trace::text(path));
  return ox::traced_text("conf_file", [&] { return ox::is_accepted(path) ? ox::full_path(path) : nullptr; });
}

const char* OX_CALL deconf_file(const char* path) {
  OX_ENTRY("deconf_file", ":%s", ox::trace::text(path));
  return ox::traced_text("deconf_file", [&] { return ox::is_accepted(path) ? ox::stored_path(path) : nullptr; });
}

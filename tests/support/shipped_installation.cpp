#include "tests/support/shipped_installation.h"

#include <filesystem>

#include "tests/support/system_root.h"

namespace fs = std::filesystem;

namespace ox::test {

void lay_down_installation() {
  const fs::path share = OX_SHARE_DIR;
  const auto options = fs::copy_options::recursive | fs::copy_options::skip_existing;
  fs::copy(share / "LIB", fs::path(home_dir()) / "LIB", options);
  fs::copy(share / "public", fs::path(work_dir()) / "public", options);
  fs::copy(share / "conf", fs::path(work_dir()) / "conf", options);
  fs::create_directories(fs::path(work_dir()) / "data");
}

}  // namespace ox::test

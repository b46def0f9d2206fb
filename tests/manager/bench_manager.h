// A manager without its pipe: requests go straight to the router.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <optional>

#include <oxbase/oxb.h>

#include "manager/definitions.h"
#include "manager/manager.h"
#include "manager/router.h"
#include "tests/support/installation.h"
#include "tests/support/system_root.h"

namespace ox::manager {

// One answered data node, written out: "type:name path = text" or "... ! code".
std::string shown(dnode* node);

class ManagerTest : public testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override { (void)oxbDeleteAmibTree(OXB_TREE); }

  // Sends a request and runs the loop until it is answered.
  Reply send(const Message& message, std::uint32_t session = 1);
  Reply ask(std::uint32_t type, std::uint32_t command, Bytes data, std::uint32_t session = 1,
            std::uint32_t destination_id = 0, std::uint32_t error = 0);
  // The reply's error, then one line for each node: "84" or "0\nnode:r1 11.5.2.0 = 161\n".
  std::string get(const std::string& component, const std::string& names, std::uint32_t limit = 0);
  // Values as "type:name", path, text; the text is parsed as a value of the attribute.
  struct Setting {
    std::string component;
    std::string path;
    std::string text;
  };
  std::string set(const std::vector<Setting>& settings);
  // The payload of a set, and of a get.
  static Bytes set_payload(const std::vector<Setting>& settings);
  static Bytes get_payload(const std::string& component, const std::string& names, std::uint32_t options = 0,
                           std::uint32_t limit = 0);
  // Ends the manager without a word and starts another on the same files.
  void restart();
  // A management code with arguments "10.7.N.0" = text.
  std::string manage(std::uint32_t code, const std::vector<std::pair<int, std::string>>& arguments);
  static std::string show(const Reply& reply);

  asio::io_context loop_;
  Settings settings_;
  std::optional<Manager> manager_;

 private:
  void start_manager();
};

}  // namespace ox::manager

// Requests about entries and their answers, written down as bytes.
#pragma once

#include <functional>

#include "tests/access/report_peer.h"
#include "tests/support/fault_heap.h"

namespace ox::test {

// A value as it travels.
[[nodiscard]] inline std::string number_value(std::uint32_t value, std::uint32_t type = 1) {
  return half(type) + word(4) + word(value);
}
[[nodiscard]] inline std::string text_value(std::string_view value) {
  return half(9) + word(static_cast<std::uint32_t>(value.size()) + 1) + std::string(value) + '\0';
}

// A node of a path and a value, of a component or of none.
[[nodiscard]] inline std::string node(std::string_view path, const std::string& value) {
  return half(0x44) + text(path) + value;
}
[[nodiscard]] inline std::string node_of(std::string_view type, std::string_view name, std::string_view path,
                                         const std::string& value) {
  return half(0x47) + text(name) + text(type) + text(path) + value;
}

// Attributes below a path: "9='me' 3=t5 4=4" are a text, a time and a number. The component is "type:name" or none.
[[nodiscard]] inline std::string nodes(std::string_view component, std::string_view base, std::string_view list) {
  const std::size_t colon = component.find(':');
  std::string all;
  while (!list.empty()) {
    const std::size_t value_at = list.find('=') + 1;
    const bool is_text = list[value_at] == '\'';
    const bool is_time = list[value_at] == 't';
    const std::size_t end = std::min(is_text ? list.find('\'', value_at + 1) + 1 : list.find(' '), list.size());
    const std::string path = std::string(base) + '.' + std::string(list.substr(0, value_at - 1)) + ".0";
    const std::string_view shown = list.substr(value_at, end - value_at);
    const std::string value =
        is_text ? text_value(shown.substr(1, shown.size() - 2))
                : number_value(static_cast<std::uint32_t>(std::stoul(std::string(shown.substr(is_time ? 1 : 0)))),
                               is_time ? 5 : 1);
    all += component.empty() ? node(path, value)
                             : node_of(component.substr(0, colon), component.substr(colon + 1), path, value);
    list.remove_prefix(std::min(end + 1, list.size()));
  }
  return all;
}

// The fields that the getters give, "-" for a text that is not there.
template <class Record>
[[nodiscard]] std::string field_of(const Record* record, OX_RESULT(OX_CALL* get)(const Record*, const char**)) {
  const char* value = "unset";
  EXPECT_EQ(0u, get(record, &value));
  return value != nullptr ? value : "-";
}
template <class Record>
[[nodiscard]] std::string field_of(const Record* record, OX_RESULT(OX_CALL* get)(const Record*, std::uint32_t*)) {
  std::uint32_t value = 77;
  EXPECT_EQ(0u, get(record, &value));
  return std::to_string(value);
}
template <class Record, class... Getters>
[[nodiscard]] std::string fields_of(const Record* record, Getters... getters) {
  std::string all;
  ((all += field_of(record, getters) + ' '), ...);
  return all;
}

// A call that makes a record, under the fault sweep.
template <class Record, class Call>
void every_allocation_may_fail(OX_RESULT(OX_CALL* release)(Record*), Call call) {
  every_allocation_may_fail([&] {
    Record* made = nullptr;
    const OX_RESULT result = call(&made);
    (void)release(made);
    return result;
  });
}

// The thread's buffer of display texts is there from the start.
struct DisplayTexts {
  DisplayTexts() {
    dnode* const one = oxdAlloc(1);
    oxdSetText(one, "");
    oxdGetValueByStr(one);
    oxdFree(one);
  }
};

class EntryTest : DisplayTexts, public ReportTest {
 protected:
  struct Step {
    std::string request;
    ReplyFields reply{};
  };
  using Steps = std::vector<Step>;
  [[nodiscard]] static Steps plus(Steps steps, const Steps& more) {
    steps.insert(steps.end(), more.begin(), more.end());
    return steps;
  }

  [[nodiscard]] static std::string get_request(std::string_view component, std::string_view path, std::uint32_t options,
                                               std::uint32_t seconds, std::string_view session = "mgr",
                                               const std::string& selection = half(0)) {
    return request(1, 0, text(component) + text(path) + word(options) + word(seconds) + selection, session);
  }
  [[nodiscard]] static std::string set_request(std::uint32_t seconds, const std::string& nodes,
                                               std::string_view session = "mgr") {
    const std::string size = half(static_cast<std::uint32_t>(nodes.size()));
    return request(4, 0, word(0) + word(seconds) + size + nodes, session);
  }
  [[nodiscard]] static std::string manage_request(std::uint32_t code, const std::string& nodes) {
    return request(8, code, nodes, "mgr");
  }

  [[nodiscard]] static std::string lock_request(std::string_view component, std::uint32_t option) {
    return request(14, 0, text(component) + word(option), "mgr");
  }
  [[nodiscard]] static std::string unlock_request(std::uint32_t lock, std::string_view session) {
    return request_bytes({.type = 4, .command = 14, .session = terminated(session), .destination = lock});
  }

  // Runs the call against a manager that expects these requests and answers them. The result, and 9999 for a request
  // that is not expected.
  [[nodiscard]] OX_RESULT run(const Steps& steps, const std::function<OX_RESULT()>& call) {
    std::vector<std::string> expected;
    for (const Step& step : steps) {
      peer.answer(reply_bytes(step.reply));
      expected.push_back(step.request);
    }
    peer.otherwise(reply_bytes({.error = 9999}));
    const OX_RESULT result = call();
    EXPECT_EQ(expected, peer.requests());
    return result;
  }

 private:
  [[nodiscard]] static std::string terminated(std::string_view session) {
    return session.empty() ? "" : std::string(session) + '\0';
  }
  [[nodiscard]] static std::string request(std::uint32_t command, std::uint32_t error, const std::string& body,
                                           std::string_view session) {
    return request_bytes({.command = command, .error = error, .session = terminated(session), .body = body});
  }
};

}  // namespace ox::test

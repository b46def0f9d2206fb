// A manager of the tests' own: serves the session pipe, records every byte that it is sent and answers as told.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace ox::test {

// Big-endian bytes.
[[nodiscard]] std::string half(std::uint32_t value);
[[nodiscard]] std::string word(std::uint32_t value);
// Length with the terminator, then the text with it.
[[nodiscard]] std::string text(std::string_view value);

// A message as the manager sends it.
struct ReplyFields {
  std::uint32_t type = 1;
  std::uint32_t command = 1;
  std::uint32_t error = 0;
  std::uint32_t source_id = 0;
  std::uint32_t destination_id = 0;
  std::string data{};
  std::string source_name{};  // with its terminator when it is to have one
  std::string destination_name{};
  std::uint32_t reference = 0;
};
[[nodiscard]] std::string reply_bytes(const ReplyFields& fields);

// What the peer does after one request (or after the greeting).
struct Answer {
  std::vector<std::string> pieces{};  // written one after the other, a moment apart
  bool close = false;                 // then closes the connection
};

class ScriptedPeer {
 public:
  ScriptedPeer();  // serves when it returns
  ~ScriptedPeer();
  ScriptedPeer(const ScriptedPeer&) = delete;
  ScriptedPeer& operator=(const ScriptedPeer&) = delete;

  // What greetings are answered with; a success by default.
  void answer_greetings(Answer answer);
  // Answers to the next requests, in order. When there are none left, `otherwise` answers; nothing by default.
  void answer(Answer answer);
  void answer(std::string bytes) { answer(Answer{{std::move(bytes)}}); }
  void otherwise(std::string bytes);
  // Called on the peer's thread with every request, before it is answered.
  void on_request(std::function<void()> hook);

  // Every greeting and every request since the last call, as received.
  [[nodiscard]] std::vector<std::string> greetings();
  [[nodiscard]] std::vector<std::string> requests();

  // Signals the last session's notification event.
  void announce();

 private:
  struct Server;
  void run();
  void serve_connection();
  [[nodiscard]] bool read(std::string& bytes, std::size_t size);
  [[nodiscard]] bool read_request(std::string& request);
  [[nodiscard]] bool deliver(const Answer& answer);
  [[nodiscard]] Answer next_answer();

  std::mutex mutex_;
  Answer greeting_answer_;
  std::deque<Answer> answers_;
  Answer otherwise_;
  std::function<void()> hook_;
  std::vector<std::string> greetings_;
  std::vector<std::string> requests_;
  std::string event_name_;

  std::unique_ptr<Server> server_;
  std::thread thread_;
};

}  // namespace ox::test

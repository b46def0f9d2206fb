#include "tests/road/raw_client.h"

#include <stdexcept>

#include <oxbase/oxd.h>

namespace ox::test {
namespace {

using namespace std::string_literals;

std::string number(std::size_t value, int width) {
  std::string bytes;
  for (int shift = 8 * (width - 1); shift >= 0; shift -= 8) bytes += static_cast<char>(value >> shift);
  return bytes;
}

std::uint32_t number_at(const std::string& bytes, std::size_t at, std::size_t width) {
  std::uint32_t value = 0;
  for (const char byte : bytes.substr(at, width)) value = value << 8 | static_cast<unsigned char>(byte);
  return value;
}

}  // namespace

RawClient::RawClient() {
  if (const auto error = pipe_.open("\\\\.\\PIPE\\ox_stdpipe")) {
    throw std::runtime_error("pipe: " + std::to_string(error));
  }
}

void RawClient::send(const std::string& bytes) { (void)pipe_.write_all(std::as_bytes(std::span(bytes))); }

std::string RawClient::receive(std::size_t count) {
  std::string bytes(count, '\0');
  std::size_t at = 0;
  while (at < count) {
    std::size_t got = 0;
    if (pipe_.read_some(std::as_writable_bytes(std::span(bytes)).subspan(at), got) != platform::error_none) break;
    at += got;
  }
  return bytes.substr(0, at);
}

void RawClient::wait_for_end() {
  while (!receive(1).empty()) {
  }
}

std::string RawClient::text(const std::string& text) { return number(text.size() + 1, 2) + text + '\0'; }

std::uint32_t RawClient::greet(const std::string& event_name) {
  send(number(event_name.size() + 3, 2) + text(event_name));
  const std::string answer = receive(4);
  return answer.size() == 4 ? number_at(answer, 2, 2) : 0xFFFF;
}

std::string RawClient::message(int type, int command, const std::string& payload) {
  const std::size_t data = payload.empty() ? 0 : payload.size() + 9;
  return number(49, 4) + "\0\x0BpipeHeader\0"s + number(data, 4) + number(2, 2) + number(type, 2) + number(command, 2) +
         std::string(6, '\0') + std::string(8, '\0') + std::string(4, '\0') + std::string(4, '\0') +
         (data != 0 ? "pipeData\0"s : ""s) + payload;
}

std::uint32_t RawClient::ask(int type, int command, const std::string& payload, std::string* data) {
  send(message(type, command, payload));
  const std::string head = receive(36);
  if (head.size() != 36) return 17;
  const std::string body = receive(number_at(head, 4, 4));
  if (data != nullptr) *data = body;
  return number_at(head, 14, 2);
}

std::string RawClient::get(const std::string& component, const std::string& names) {
  std::string data;
  std::string shown = std::to_string(ask(1, 1, text(component) + text(names) + std::string(10, '\0'), &data));
  dnode* list = nullptr;
  (void)oxdDecode(data.data(), static_cast<std::uint32_t>(data.size()), &list);
  for (dnode* node = list; node != nullptr; node = oxdNext(node)) {
    const char* path = "";
    (void)oxdGetAmibName(node, &path);
    shown += std::string(" ") + path + " = " + oxdGetValueByRawStr(node);
  }
  (void)oxdFree(list);
  return shown;
}

}  // namespace ox::test

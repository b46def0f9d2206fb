#include "access/message.h"

#include <oxbase/oxc.h>

namespace ox {

void release_message(Message* message) noexcept {
  if (message == nullptr) return;
  (void)oxcMemFree(message->source_name);
  (void)oxcMemFree(message->destination_name);
  (void)oxcMemFree(message->data);
  (void)oxcMemFree(message);
}

}  // namespace ox

// Where named objects lie. What a process makes lies in its account's own folder, which nobody else can enter. What is
// there for every account lies in the root's "run", where the manager's account alone writes. No process maps memory
// that another account than these two can write or shorten.
#pragma once

#include <sys/types.h>

#include <string>

#include "platform/linux/descriptor.h"
#include "platform/linux/root.h"

namespace ox::platform {

// The own folder of this process's account: in the root's "run" for the account that the root belongs to, else in the
// account's runtime folder. Empty when there is none, which is no error: its objects are then the process's own.
[[nodiscard]] std::string own_folder(const Root& root, bool make);

// That of another account, where this process may look into it; empty when there is none.
[[nodiscard]] std::string folder_of_account(const Root& root, uid_t account);

// Where this account keeps what outlives its processes: in the root's "numbers" for the root's owner, else in the
// account's home. Empty when it has no such place.
[[nodiscard]] std::string own_lasting_folder(const Root& root);

// The root's "run", made when it is missing and `make` asks for it.
[[nodiscard]] std::string run_folder(const Root& root, bool make);

// Opens a file of "run" for reading. Fails with errno: EACCES for a file, or a "run", that others than the root's owner
// can write.
[[nodiscard]] Descriptor open_for_all(const Root& root, const std::string& file);

}  // namespace ox::platform

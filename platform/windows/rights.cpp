#include "platform/rights.h"

namespace ox::platform {

WrongRights wrong_rights(const std::string&, Rights) { return {}; }
WrongRights refused_account() { return {}; }

}  // namespace ox::platform

// What the manager counts and finds wrong: values of "system:system".
#pragma once

#include <vector>

#include "manager/base/fault_list.h"
#include "manager/events/shares.h"
#include "manager/sessions/users.h"
#include "manager/snmp/engine.h"
#include "manager/snmp/value_reader.h"
#include "manager/traps/books.h"

namespace ox::manager {

// In the order of their paths; none for any other component of that type.
void add_system_figures(const TrapBooks& traps, const FaultList& faults, const ComponentName& component,
                        std::vector<Figure>& figures);

// "sysmib.oxClients": what each user has.
void add_client_figures(const Users& users, const ComponentName& component, std::vector<Figure>& figures);

// "sysmib.oxAnswers": what was not taken as an agent's answer.
void add_answer_figures(const RefusedAnswers& refused, const ComponentName& component, std::vector<Figure>& figures);

// "sysmib.oxEventLog": what kinds of events have of the log.
void add_event_log_figures(const EventShares& shares, const ComponentName& component, std::vector<Figure>& figures);

}  // namespace ox::manager

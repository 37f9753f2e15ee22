#pragma once

#include "Journal.h"
#include "Service.h"
#include "Signals.h"

#include <StreamOwner.h>

#include <optional>
#include <string>

namespace agent {

/// Makes the folder of the stream where only it is missing, for the agent's user alone. Throws a StreamError.
void makeFolderOf(const std::string& stream);

/// Makes this agent the owner of the stream. Waits while a tool is at work on it; another agent is a StreamOwnedError.
/// No value when a signal asked the agent to end meanwhile.
std::optional<KXCore::StreamOwner> own(const std::string& stream, const Signals& signals, const Service& service);

/// Opens the stream, and waits while somebody keeps it locked. False when a signal asked the agent to end meanwhile.
/// Throws a StreamError when it cannot be used.
bool open(Journal& journal, const Signals& signals, const Service& service);

}  // namespace agent

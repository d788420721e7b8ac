// The signals that stop the server: Ctrl-C, termination, and a terminal that is closed.
#pragma once

namespace StopSignal
{

/// From here on each of these signals raises the flag, unless it is ignored already, as nohup has it; a second one, of
/// whatever kind, ends the process at once. A reader of the output that goes away is an error of writing, no signal.
void Install();

bool IsRaised();

/// As a shell tells of it: 130 for Ctrl-C.
int GetExitCode();

} // namespace StopSignal

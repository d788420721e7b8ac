// Ctrl-C, and a polite kill.
#pragma once

namespace StopSignal
{

/// From here on either signal raises the flag; a second one of the same kind ends the process at once.
void Install();

bool IsRaised();

} // namespace StopSignal

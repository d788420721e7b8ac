// Ctrl-C.
#pragma once

namespace StopSignal
{

/// From here on an interrupt raises the flag; a second one ends the process at once.
void Install();

bool IsRaised();

} // namespace StopSignal

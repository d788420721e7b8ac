// UTF-8: what is safe to show of a text, and how much room that takes on a screen.
#pragma once

#include "monitor/QORMonitorViews.h"

#include <cstddef>
#include <string>
#include <string_view>

namespace QORMONITOR
{

/// Whether it is that: no surrogates, no form that is longer than it need be.
bool IsUtf8(std::string_view iText);

/// As ToLine, but line feeds and tabs stay.
std::string ToLines(std::string_view iText, std::size_t iLongest);

// --- Of texts that ToLine has made; in columns of the screen: some characters take two, others none. ---

std::size_t WidthOf(std::string_view iText);
/// Ends with a mark if it was wider, or has far more bytes than that width needs.
std::string CutToWidth(std::string_view iText, std::size_t iWidest);

} // namespace QORMONITOR

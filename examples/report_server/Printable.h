// Text that is safe for a terminal, a log, or a file that people read.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// Texts are UTF-8. Before all else, on one thread. Throws SetupError.
void UseUtf8();

/// With a replacement for each character that does something instead of showing something, and for what is no UTF-8.
/// Line feeds stay.
std::string ToPrintable(std::string_view iText);

/// The same on one line, cut when it is wider than that, or has far more bytes than that needs.
std::string OnOneLine(std::string_view iText, std::size_t iWidest = 1'000);

/// In columns of the screen: some characters take two, others none.
std::size_t WidthOf(std::string_view iText);

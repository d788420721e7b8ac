#include "Keyboard.h"

#include <poll.h>
#include <unistd.h>

#include <array>
#include <cstddef>

Keyboard::Keyboard() : mbOpen(isatty(STDIN_FILENO) == 1) {}

std::optional<std::string> Keyboard::TakeLine()
{
    Read();
    const std::size_t end = mTyped.find('\n');
    if (end == std::string::npos)
        return {};
    const std::string line = mTyped.substr(0, end);
    mTyped.erase(0, end + 1);
    return line;
}

void Keyboard::Read()
{
    pollfd keyboard{STDIN_FILENO, POLLIN, 0};
    if (!mbOpen || poll(&keyboard, 1, 0) != 1)
        return;
    std::array<char, 256> typed{};
    const ssize_t count = read(STDIN_FILENO, typed.data(), typed.size());
    mbOpen = count > 0;
    if (mbOpen)
        mTyped.append(typed.data(), static_cast<std::size_t>(count));
}

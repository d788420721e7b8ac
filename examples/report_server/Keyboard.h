// Lines that are typed while the server works.
#pragma once

#include <optional>
#include <string>

/// Only a terminal is read: what a file or a pipe holds is somebody else's.
///
/// Threads: one.
class Keyboard
{
public:
    Keyboard();

    /// Whether lines may still come.
    bool IsOpen() const { return mbOpen; }
    /// Never waits: a line that has been typed, or none.
    std::optional<std::string> TakeLine();

private:
    void Read();

    bool mbOpen;
    std::string mTyped;
};

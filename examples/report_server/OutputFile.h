// A file that the server writes beside its results.
#pragma once

#include <filesystem>
#include <fstream>
#include <mutex>
#include <string>
#include <string_view>

/// It is opened before the first job is made: who can't have it is told before there is work to lose.
///
/// Threads: any.
/// Owns:    the file; what it held is gone.
/// Errors:  the constructor throws SetupError; what can't be written later is told by Close.
class OutputFile
{
public:
    explicit OutputFile(const std::filesystem::path& iPath);

    void Write(std::string_view iText);
    /// Something is missing in it: tells why.
    void NoteLoss(const std::string& iReason);
    /// False, with an error told, when not all has been written. Nothing may be written afterwards.
    bool Close();

private:
    std::filesystem::path mPath;
    std::mutex mMutex; // guards what follows
    std::ofstream mStream;
    bool mbWhole = true;
};

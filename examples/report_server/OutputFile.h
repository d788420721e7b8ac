// A file that the server writes beside its results.
#pragma once

#include <filesystem>
#include <mutex>
#include <string>
#include <string_view>

/// It is opened before the first job is made: who can't have it is told before there is work to lose. What is written
/// goes into a new file, `NAME.part-PID`, which replaces the old one at the end if nothing is missing in it: else the
/// old one stays as it is. Pipes and devices can't be replaced and are written at once.
///
/// Threads: any.
/// Owns:    the new file; when it hasn't replaced the old one it goes, unless NoteLoss has told of it.
/// Errors:  the constructor throws SetupError; what can't be written later is told by Close.
class OutputFile
{
public:
    explicit OutputFile(const std::filesystem::path& iPath);
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    void Write(std::string_view iText);
    /// Something is missing in it: tells why. What there is stays in the new file.
    void NoteLoss(const std::string& iReason);
    /// False, with an error told, when not all has been written. Nothing may be written afterwards.
    bool Close();

private:
    std::filesystem::path mName;   // as who starts the server has it
    std::filesystem::path mTarget; // what the new file replaces; empty for a pipe or a device
    std::filesystem::path mPart;
    std::mutex mMutex; // guards what follows
    int mFile = -1;    // its descriptor
    int mError = 0;    // of the first call that failed
    bool mbWhole = true;
};

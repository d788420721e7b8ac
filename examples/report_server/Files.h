// The files that the server reads and writes: which it may open, and how.
#pragma once

#include <filesystem>
#include <fstream>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

/// A daemon may be started without standard streams: the next file that is opened would then become one of them. Those
/// that are missing are opened to nowhere. First of all, before any other file is opened.
void OpenStandardStreams();

/// Throws SetupError, with the reason, when the file can't be read.
std::ifstream OpenToRead(const std::filesystem::path& iPath);

/// What stands in the file's first line, without blanks around it. Throws SetupError when there is nothing.
std::string ReadToken(const std::filesystem::path& iPath);

/// Throws SetupError when one of the outputs, where it isn't empty, is one of the files in use, a standard stream, or
/// another output. It doesn't matter how they are spelt, or linked. Devices may be shared.
void RefuseFilesInUse(const std::vector<std::filesystem::path>& iOutputs, std::vector<std::filesystem::path> iInUse);

/// What is written beside the results. It is opened before the first job is made: who can't have it is told before
/// there is work to lose. What is written goes into a new file, `NAME.part-PID`, which replaces the old one at the end
/// if all of it could be written: else the old one stays as it is. Pipes and devices can't be replaced and are written
/// at once.
///
/// Threads: any.
/// Owns:    the new file; when it hasn't replaced the old one it goes.
/// Errors:  the constructor throws SetupError; what can't be written later is told by Close.
class OutputFile
{
public:
    explicit OutputFile(const std::filesystem::path& iPath);
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    void Write(std::string_view iText);
    /// False, with an error told, when not all has been written. Nothing may be written afterwards.
    bool Close();

private:
    std::filesystem::path mName;   // as who starts the server has it
    std::filesystem::path mTarget; // what the new file replaces; empty for a pipe or a device
    std::filesystem::path mPart;
    std::mutex mMutex; // guards what follows
    int mFile = -1;    // its descriptor
    int mError = 0;    // of the first call that failed
};

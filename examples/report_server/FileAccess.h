// Access to files: which the server may open, and how.
#pragma once

#include <filesystem>
#include <fstream>
#include <vector>

/// A daemon may be started without standard streams: the next file that is opened would then become one of them. Those
/// that are missing are opened to nowhere. First of all, before any other file is opened.
void OpenStandardStreams();

/// Throws SetupError, with the reason, when the file can't be read.
std::ifstream OpenToRead(const std::filesystem::path& iPath);

/// Throws SetupError when one of the outputs, where it isn't empty, is one of the files in use, a standard stream, or
/// another output. It doesn't matter how they are spelt, or linked. Devices may be shared.
void RefuseFilesInUse(const std::vector<std::filesystem::path>& iOutputs, std::vector<std::filesystem::path> iInUse);

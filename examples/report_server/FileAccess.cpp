#include "FileAccess.h"

#include "Errors.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <string>

namespace
{

/// The same for all names of a file; of one that isn't there yet, its place.
std::string IdentityOf(const std::filesystem::path& iPath)
{
    struct stat status = {};
    if (stat(iPath.c_str(), &status) == 0)
        return std::to_string(status.st_dev) + ":" + std::to_string(status.st_ino);
    std::error_code ignored; // who opens the file is told
    return std::filesystem::weakly_canonical(std::filesystem::absolute(iPath), ignored).string();
}

} // namespace

void OpenStandardStreams()
{
    int descriptor = STDIN_FILENO;
    while (descriptor >= 0 && descriptor <= STDERR_FILENO)
        descriptor = open("/dev/null", O_RDWR); // takes the lowest that is free
    if (descriptor > STDERR_FILENO)
        close(descriptor);
}

std::ifstream OpenToRead(const std::filesystem::path& iPath)
{
    std::ifstream stream(iPath, std::ios::binary);
    std::error_code ignored;
    if (stream && std::filesystem::is_directory(iPath, ignored))
        errno = EISDIR; // opened it can be, but not read
    else if (stream)
        return stream;
    throw SetupError(iPath.string() + ": the file can't be opened: " + SystemReason());
}

void RefuseFilesInUse(const std::vector<std::filesystem::path>& iOutputs, std::vector<std::filesystem::path> iInUse)
{
    iInUse.insert(iInUse.end(), {"/dev/stdin", "/dev/stdout", "/dev/stderr"});
    for (const std::filesystem::path& output : iOutputs)
    {
        std::error_code ignored;
        if (output.empty() || std::filesystem::is_character_file(output, ignored))
            continue;
        const auto isSame = [identity = IdentityOf(output)](const std::filesystem::path& iOther) {
            return !iOther.empty() && IdentityOf(iOther) == identity;
        };
        const auto other = std::find_if(iInUse.begin(), iInUse.end(), isSame);
        if (other != iInUse.end())
            throw SetupError(output.string() + " can't be written: it is in use as " + other->string());
        iInUse.push_back(output);
    }
}

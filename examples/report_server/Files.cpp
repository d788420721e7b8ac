#include "Files.h"

#include "Errors.h"
#include "Log.h"
#include "Text.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>

namespace
{

[[noreturn]] void Refuse(const std::filesystem::path& iPath, const std::string& iReason)
{
    throw SetupError(iPath.string() + " can't be written: " + iReason);
}

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

std::string ReadToken(const std::filesystem::path& iPath)
{
    std::ifstream stream = OpenToRead(iPath);
    std::string line;
    std::getline(stream, line);
    std::string token(Trim(line));
    if (token.empty())
        throw SetupError(iPath.string() + " has no token in its first line");
    return token;
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

OutputFile::OutputFile(const std::filesystem::path& iPath) : mName(iPath), mPart(iPath)
{
    std::error_code error; // opening it fails, too
    const std::filesystem::file_status old = std::filesystem::status(iPath, error);
    const bool bOld = std::filesystem::is_regular_file(old);
    if (bOld && access(iPath.c_str(), W_OK) != 0)
        Refuse(iPath, SystemReason());
    int how = O_WRONLY | O_CLOEXEC;
    if (bOld || !std::filesystem::exists(old))
    {
        mTarget = bOld ? std::filesystem::canonical(iPath, error) : iPath; // a link stays one
        if (mTarget.empty())
            Refuse(iPath, error.message());
        mPart = mTarget.string() + ".part-" + std::to_string(getpid());
        how |= O_CREAT | O_EXCL | O_NOFOLLOW; // nobody's but this process's
    }
    constexpr mode_t cOwners = 0600;
    constexpr mode_t cAll = 0666; // less what the umask takes
    mFile = open(mPart.c_str(), how, bOld ? cOwners : cAll);
    if (mFile < 0)
        Refuse(iPath, SystemReason());
    if (bOld)
        fchmod(mFile, static_cast<mode_t>(old.permissions())); // where that fails, nobody else may read it
}

OutputFile::~OutputFile()
{
    if (mFile >= 0)
        close(mFile);
    std::error_code ignored;
    if (!mTarget.empty())
        std::filesystem::remove(mPart, ignored);
}

void OutputFile::Write(std::string_view iText)
{
    const std::lock_guard hold(mMutex);
    while (!iText.empty() && mError == 0)
    {
        const ssize_t written = write(mFile, iText.data(), iText.size());
        if (written >= 0)
            iText.remove_prefix(static_cast<std::size_t>(written));
        else if (errno != EINTR)
            mError = errno;
    }
}

bool OutputFile::Close()
{
    const std::lock_guard hold(mMutex);
    const bool bClosed = close(mFile) == 0;
    mFile = -1;
    if (mError == 0 && (!bClosed || (!mTarget.empty() && rename(mPart.c_str(), mTarget.c_str()) != 0)))
        mError = errno;
    if (mError != 0)
        LogError(mName.string() + " can't be written: " + std::generic_category().message(mError));
    else
        mTarget.clear(); // nothing is left to remove
    return mError == 0;
}

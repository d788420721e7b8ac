#include "OutputFile.h"

#include "Errors.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace
{

[[noreturn]] void Refuse(const std::filesystem::path& iPath, const std::string& iReason)
{
    throw SetupError(iPath.string() + " can't be written: " + iReason);
}

} // namespace

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

void OutputFile::NoteLoss(const std::string& iReason)
{
    LogError(mName.string() + " is not complete: " + iReason);
    const std::lock_guard hold(mMutex);
    mbWhole = false;
}

bool OutputFile::Close()
{
    const std::lock_guard hold(mMutex);
    const bool bClosed = close(mFile) == 0;
    mFile = -1;
    const bool bReplaces = !mTarget.empty() && mbWhole;
    if (mError == 0 && (!bClosed || (bReplaces && rename(mPart.c_str(), mTarget.c_str()) != 0)))
        mError = errno;
    if (mError != 0)
        LogError(mName.string() + " can't be written: " + std::generic_category().message(mError));
    if (mError == 0 && !mTarget.empty() && !mbWhole)
        LogError(mName.string() + " stays as it was; what has been written is in " + mPart.string());
    if (mError == 0)
        mTarget.clear(); // nothing is left to remove
    return mbWhole && mError == 0;
}

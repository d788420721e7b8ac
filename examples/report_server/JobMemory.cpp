#include "JobMemory.h"

#include "JobCalls.h"

namespace
{

constexpr std::uint64_t cMegabyte = 1'024 * 1'024;

} // namespace

JobMemory::JobMemory(const QORJob& iJob)
{
    if (iJob.ApplyGovernorOrNot())
        mpGovernor = iJob.GetMemGovernor();
}

JobMemory::~JobMemory()
{
    if (mpGovernor != nullptr)
        mpGovernor->Release(mTaken);
}

void JobMemory::Take(std::uint64_t iBytes)
{
    if (mpGovernor == nullptr)
        return;
    QBase::wstring refusal;
    const HRESULT code = mpGovernor->Request(iBytes, refusal);
    if (code == cMemoryRefused)
        throw MemoryRefusal(QBase::WideCharToUTF8(refusal), mpGovernor->mJobId.Get(),
                            static_cast<unsigned>(mpGovernor->mLimitBytes / cMegabyte));
    Expect(code, "Request");
    mTaken += iBytes;
}

RowGate JobMemory::GetGate()
{
    return [this](const Row& iRow) { Take(SizeOf(iRow)); };
}

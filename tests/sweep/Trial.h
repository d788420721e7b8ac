// Operations under a fault, and what has to become of them.
#pragma once

#include "base/ExceptionBoundary.h"
#include "tests/support/JobTest.h"
#include "tests/support/LockProbe.h"
#include "tests/sweep/Strangers.h"

#include <cstdlib>

inline constinit thread_local Turn gStandardHeap; ///< of operator new, as the sweep's own thread calls it

enum class EnumSource
{
    Heap,
    Lock,
    StandardHeap,
    StrangersMessage, ///< what they throw
    StrangersOther,
};

/// What fails: one call of its source, or that and all that follow.
struct Fault
{
    void Set(std::int64_t iNth) const
    {
        if (mSource <= EnumSource::Lock)
            (mbLasting ? Builtin::Faults::FailFromNth : Builtin::Faults::FailNth)(GetKind(), iNth);
        else
            (IsOfStrangers() ? gStrangers : gStandardHeap) = {iNth, mbLasting};
        gbStrangersThrowMessages = mSource == EnumSource::StrangersMessage;
    }

    std::int64_t GetLeft() const
    {
        return mSource <= EnumSource::Lock ? Builtin::Faults::GetCallsToFault(GetKind())
                                           : (IsOfStrangers() ? gStrangers : gStandardHeap).mLeft;
    }

    Builtin::Faults::EnumFault GetKind() const
    {
        using enum Builtin::Faults::EnumFault;
        return mSource == EnumSource::Heap ? Allocation : LockCreation;
    }

    bool IsOfStrangers() const { return mSource >= EnumSource::StrangersMessage; }

    EnumSource mSource;
    bool mbLasting;
    bool mbStrangeContext; ///< the job's context is a stranger, too
};

/// What an operation gives, and how the job is after it.
struct Outcome
{
    HRESULT mCode;
    std::string mJob;

    bool operator==(const Outcome&) const = default;
};

class Trial
{
public:
    bool HasStruck() const { return mLeft <= 0; }

protected:
    /// What an operation promises in case that it fails.
    enum EnumPromise
    {
        Whole,      ///< it has done all or nothing
        AsksOthers, ///< the same, unless a stranger throws
        Parts,      ///< it may have done a part
        Throws,     ///< it may throw, too
    };

    /// Without usual outcomes it notes them.
    Trial(const Fault& iFault, std::int64_t iNth, std::vector<Outcome>& ioUsual)
        : mFault(iFault), mbNotes(ioUsual.empty()), mUsual(ioUsual), mLeft(iNth)
    {
    }

    ~Trial() { Builtin::LogSinks::RemoveSink(mSinkId); }

    template <class Operation>
    HRESULT Do(Operation iOperation, int iLine = __builtin_LINE())
    {
        return Do(Whole, iOperation, iLine);
    }

    /// Runs one operation under the fault, which is at rest else. The one that meets it is judged, and done again when
    /// it has failed: all goes on as usual then, but for a fault that lasts.
    template <class Operation>
    HRESULT Do(EnumPromise iPromise, Operation iOperation, int iLine = __builtin_LINE())
    {
        const testing::ScopedTrace trace("line", iLine, "operation");
        const auto run = [&] {
            try
            {
                return iOperation();
            }
            catch (...)
            {
                return cThrown;
            }
        };
        if (!mbRests && mLeft != 0)
            mFault.Set(mLeft < 0 ? 1 : mLeft);
        HRESULT code = run();
        if (!mbRests && mLeft > 0)
            mLeft = mFault.GetLeft();
        mFault.Set(0);
        EXPECT_TRUE(code != cThrown || iPromise == Throws);
        if (mbNotes)
        {
            EXPECT_TRUE(SUCCEEDED(code)) << std::hex << code;
            mUsual.push_back({code, Describe()});
        }
        else if (HasStruck() && !std::exchange(mbJudged, true))
        {
            const bool bWhole = iPromise == Whole || (iPromise == AsksOthers && !mFault.IsOfStrangers());
            Judge(code, bWhole);
            if (code != mUsual[mDone].mCode && !mFault.mbLasting)
                code = run();
            mbUsual = !mFault.mbLasting && Outcome{code, Describe()} == mUsual[mDone];
            EXPECT_TRUE(mbUsual || mFault.mbLasting || !bWhole) << std::hex << code << Describe();
        }
        else
        {
            EXPECT_TRUE(!mbUsual || code == mUsual[mDone].mCode) << std::hex << code;
        }
        ++mDone;
        return code;
    }

    HRESULT CodeOfFault() const
    {
        return mFault.mSource == EnumSource::StrangersMessage ? cMessageExceptionMet : cSystemExceptionMet;
    }

    /// All that can be asked of the job and changes with its operations.
    virtual std::string Describe() const = 0;

    const Fault& mFault;
    const bool mbNotes;
    bool mbUsual = true; ///< all has come as without a fault
    bool mbRests = false;
    std::vector<Outcome>& mUsual;
    std::size_t mDone = 0;
    QORJob* mpJob = nullptr; // one reference

private:
    static constexpr HRESULT cThrown = 0x2000'0000; // no operation's code

    void Judge(HRESULT iCode, bool ibWhole) const
    {
        const Outcome& usual = mUsual[mDone];
        const bool bMet = iCode == CodeOfFault();
        EXPECT_TRUE(bMet || iCode == usual.mCode || iCode == E_OUTOFMEMORY || iCode == cThrown) << std::hex << iCode;
        // What strangers throw into a real context comes out of it as a code.
        const bool bLogs = mpJob != nullptr && !mFault.mbLasting && mFault.IsOfStrangers() == mFault.mbStrangeContext;
        EXPECT_TRUE(!bMet || !bLogs || mbLogged);
        const std::string before = mDone == 0 ? std::string() : mUsual[mDone - 1].mJob;
        const std::string job = Describe();
        if (ibWhole && (iCode == usual.mCode || job != before))
        {
            EXPECT_EQ(job, usual.mJob);
        }
        LockProbe probe;
        if (mpJob != nullptr && !probe.IsFree(*mpJob))
        {
            ADD_FAILURE() << "the job's lock is taken";
            std::_Exit(1); // the probe waits for it
        }
    }

    std::int64_t mLeft; // as GetLeft when the fault came to rest
    bool mbJudged = false;
    bool mbLogged = false; // an exception
    const int mSinkId =
        Builtin::LogSinks::AddSink([this](const Builtin::LogSinks::Line& iLine) { mbLogged |= iLine.mCode != 0; });
};

// The five slots of a job.
#include "tests/data/DataTest.h"

#include <deque>
#include <thread>

namespace
{

using DataStore = JobTest;

/// Counts its references and tells of its calls; goes with the test, not with its last reference.
class FakeData final : public QORBinaryData
{
public:
    FakeData(const std::string& iName, unsigned iId, Texts& ioCalls)
        : QORBinaryData(0, nullptr, 0), mName(iName), mId(iId), mCalls(ioCalls)
    {
    }

    HRESULT GetId(unsigned* oId) const override
    {
        *oId = mId;
        return static_cast<HRESULT>(Note("GetId"));
    }

    ULONG AddRef() override { return Note("AddRef") + ++mReferences; }
    ULONG Release() override { return Note("Release") + --mReferences; }

    ULONG mReferences = 0;
    std::string mThrowing; ///< the operation that does
    bool mbMessage = false;

private:
    ULONG Note(const std::string& iOperation) const
    {
        mCalls.push_back(mName + " " + iOperation);
        if (iOperation != mThrowing)
            return 0;
        if (mbMessage)
            throw QBase::Message("broken");
        throw 7;
    }

    std::string mName;
    unsigned mId;
    Texts& mCalls;
};

bool IsAvailable(const QORJob& iJob, int iId)
{
    bool bAvailable = true;
    EXPECT_EQ(iJob.IsDataAvailable(iId, &bAvailable), S_OK);
    return bAvailable;
}

} // namespace

TEST_F(DataStore, KeepsOneItemOfEachIdFrom0To4)
{
    Texts calls;
    std::deque<FakeData> items;
    FakeData untouched("untouched", 0, calls);
    const JobPtr job = NewJob();
    for (const unsigned id : {0u, 4u, 5u, 0x80000000u, 0xFFFFFFFFu})
    {
        const bool bKept = id < 5;
        FakeData& item = items.emplace_back("item", id, calls);
        QORJobData* found = &untouched;
        EXPECT_FALSE(IsAvailable(*job.Get(), static_cast<int>(id)));
        EXPECT_EQ(job->SetJobData(&item), bKept ? S_OK : E_FAIL);
        EXPECT_EQ(IsAvailable(*job.Get(), static_cast<int>(id)), bKept);
        EXPECT_EQ(job->GetJobData(static_cast<int>(id), &found), S_OK);
        EXPECT_EQ(found, bKept ? &item : &untouched);
        EXPECT_EQ(item.mReferences, bKept ? 2u : 0u);
    }
    QORJobData* found = &untouched;
    EXPECT_EQ(job->GetJobData(2, &found), S_OK);
    EXPECT_EQ(found, nullptr);
    for (const HRESULT code : {job->SetJobData(nullptr), job->GetJobData(9, nullptr), job->IsDataAvailable(9, nullptr)})
        EXPECT_EQ(code, E_POINTER);
}

TEST_F(DataStore, SurvivesItemsThatThrow)
{
    const struct
    {
        const char* mOfOld;
        const char* mOfNew;
        bool mbAvailable; ///< afterwards
        bool mbMessage;
    } faults[] = {{"", "GetId", true, true},  {"Release", "", true, true},  {"", "AddRef", false, true},
                  {"", "GetId", true, false}, {"Release", "", true, false}, {"", "AddRef", false, false}};
    for (const auto& fault : faults)
    {
        const auto line = [&](const std::string& iName) {
            std::string text =
                fault.mbMessage ? "Error: 8004308E QOR_JOB_EXCEPTION" : "Fatal: 8004308F QOR_JOB_SYSTEMEXCEPTION";
            text.append(" (").append(iName).append("): ").append(iName).append(", 4711");
            return Texts{text.append(fault.mbMessage ? ", broken" : "")};
        };
        Texts calls;
        FakeData first("first", 2, calls);
        FakeData second("second", 2, calls);
        const JobPtr job = NewJob();
        EXPECT_EQ(job->SetJobData(&first), S_OK);
        first.mThrowing = fault.mOfOld;
        second.mThrowing = fault.mOfNew;
        first.mbMessage = second.mbMessage = fault.mbMessage;
        TakeLog();
        EXPECT_EQ(job->SetJobData(&second), static_cast<HRESULT>(fault.mbMessage ? 0x8004308B : 0x8004308C));
        EXPECT_EQ(TakeLog(), line("SetJobData"));
        std::thread([&] { EXPECT_EQ(IsAvailable(*job.Get(), 2), fault.mbAvailable); }).join(); // the lock is free

        first.mThrowing = "";
        second.mThrowing = "";
        calls.clear();
        EXPECT_EQ(job->SetJobData(&second), S_OK);
        EXPECT_EQ(calls, fault.mbAvailable ? (Texts{"second GetId", "first Release", "second AddRef"})
                                           : (Texts{"second GetId", "second AddRef"}));
        second.mThrowing = "AddRef";
        TakeLog();
        QORJobData* found = &first;
        EXPECT_EQ(job->GetJobData(2, &found), static_cast<HRESULT>(0x8004308B)) << "for both kinds";
        EXPECT_EQ(TakeLog(), line("GetJobData"));
        EXPECT_EQ(found, &second) << "handed out before the reference is taken";
        second.mThrowing = "";
    }
}

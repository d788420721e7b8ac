// The five slots of a job.
#include "job/QORJobTask.h"
#include "tests/support/DataTest.h"

#include <thread>

namespace
{

using DataStore = JobTest;

/// Throws when its payload is to go, and tells when it goes itself.
class FaultyData final : public QORBinaryData
{
public:
    explicit FaultyData(int& ioEnds) : QORBinaryData(2, QBase::HeapAllocate(4), 4), mEnds(ioEnds) {}
    ~FaultyData() override { ++mEnds; }
    HRESULT Reset() override { throw 7; }

private:
    int& mEnds;
};

bool IsAvailable(const QORJob& iJob, int iId)
{
    bool bAvailable = true;
    EXPECT_EQ(iJob.IsDataAvailable(iId, &bAvailable), S_OK);
    return bAvailable;
}

} // namespace

TEST_F(DataStore, SurvivesItemsThatThrow)
{
    for (const bool bMessage : {true, false})
        for (const char* fault : {"second GetId", "first Release", "second AddRef"})
        {
            const char* const message = bMessage ? "broken" : nullptr;
            Strangers calls;
            FakeData first("first", 2, calls);
            FakeData second("second", 2, calls);
            const JobPtr job = NewJob();
            QORJobData* found = nullptr;
            EXPECT_EQ(job->SetJobData(&first), S_OK);
            TakeLog();
            calls = {{}, "first AddRef", bMessage};
            EXPECT_EQ(job->GetJobData(2, &found), static_cast<HRESULT>(0x8004308B)) << "for both kinds";
            EXPECT_EQ(found, &first) << "handed out before the reference is taken";
            calls.mThrowing = "first AddRef";
            EXPECT_EQ(QORJobTask(job.Get()).GetContextDataX(2, &found), static_cast<HRESULT>(0x8004308B));
            EXPECT_EQ(first.mReferences, 3u) << "the job's and those of the two that threw";
            calls.mThrowing = fault;
            EXPECT_EQ(job->SetJobData(&second), static_cast<HRESULT>(bMessage ? 0x8004308B : 0x8004308C));
            EXPECT_EQ(TakeLog(), (Texts{Caught("GetJobData", message), Caught("GetJobData", message),
                                        Caught("SetJobData", message)}));
            const bool bKept =
                fault == std::string("second GetId"); // the first item, whose slot is empty as it is released
            std::thread([&] { EXPECT_EQ(IsAvailable(*job.Get(), 2), bKept); }).join(); // the lock is free
        }
}

TEST_F(DataStore, IsDoneWithAnItemWhoseReleaseThrows)
{
    int ends = 0;
    JobPtr job = NewJob();
    const QBase::PtrI<QORJobData> other(new QORBinaryData(2, nullptr, 0));
    EXPECT_EQ(job->SetJobData(new FaultyData(ends)), S_OK);
    EXPECT_EQ(job->SetJobData(other.Get()), static_cast<HRESULT>(0x8004308C));
    EXPECT_EQ(ends, 1) << "the item ends though its payload doesn't go quietly";
    EXPECT_FALSE(IsAvailable(*job.Get(), 2));
    EXPECT_EQ(job->SetJobData(new FaultyData(ends)), S_OK);
    job = {};
    EXPECT_EQ(ends, 2) << "at the job's end, too, and once";
}

TEST_F(DataStore, IsMadeItemsInByManyThreadsAtOnce)
{
    // Items are made through the job and past it, while its lists grow in the same buffer.
    constexpr int cItems = 300;
    for (QBase::Buffer* buffer : {static_cast<QBase::Buffer*>(nullptr), NewBuffer(0)})
    {
        const JobPtr job = NewJob(RequestDocument, nullptr, buffer);
        std::vector<std::vector<QORJobData*>> made(3);
        RunOnThreads(4, [&](int iThread) {
            for (int i = 0; i < cItems; ++i)
            {
                QORJobData* item = nullptr;
                if (iThread == 3)
                    job->AddStepToRun(new QORJobStep(i), nullptr);
                else if (i % 2 == 0)
                    job->CreateJobDataObject(0, &item);
                else
                    QORJobData::CreateJobDataObject(job.Get(), 0, &item);
                if (item != nullptr)
                {
                    item->Init(static_cast<DWORD>(iThread * cItems + i));
                    made[static_cast<std::size_t>(iThread)].push_back(item);
                }
            }
        });
        for (int thread = 0; thread < 3; ++thread)
        {
            const std::vector<QORJobData*>& items = made[static_cast<std::size_t>(thread)];
            ASSERT_EQ(items.size(), static_cast<std::size_t>(cItems));
            for (int i = 0; i < cItems; ++i)
            {
                unsigned id = 0;
                items[static_cast<std::size_t>(i)]->GetId(&id);
                EXPECT_EQ(id, static_cast<unsigned>(thread * cItems + i)) << "another item lies over it";
            }
        }
        int steps = 0;
        job->AddStepAtFront(new QORJobStep(2), &steps);
        EXPECT_EQ(steps, cItems + 1);
    }
}

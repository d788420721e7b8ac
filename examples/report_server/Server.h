// The front of the server: it makes a job of each request for the host to run, and sees to what its host doesn't:
// orders that wait for a step, reports of documents, and that every request is answered.
#pragma once

#include "Files.h"
#include "Journey.h"
#include "Options.h"
#include "client/Client.h"
#include "client/Request.h"
#include "qormonitor.h"
#include "tasks/JobMaker.h"
#include "warehouse/Warehouse.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

/// The n-th child of document d has the id n + d times this, if the document's is lower than it. Requests have lower
/// ones; when there are no more of them, ids run on above those of such children, for requests and children alike.
inline constexpr int cFirstChild = 10'000;

struct Step;

/// What the server has of an open job. But for the last three it is constant once the host has the job.
struct ServerJob
{
    /// "job 16 (report for farid)", and the text behind it.
    void LogError(const std::string& iText) const;
    /// Throws std::runtime_error.
    void SendAnswer();

    int mId = 0;
    JobPlace mPlace;
    QBase::PtrI<QORChannel> mpClient;          ///< where the answer goes
    QBase::PtrI<UserSession> mpSession;        ///< a document's children share it
    Request mRequest;                          ///< what the message says
    QBase::PtrI<CKDXProcessContext> mpContext; ///< has the request's message and the answer; the job's, too
    std::vector<std::string> mParts;           ///< of a document: what its children have answered, each in its place
    std::atomic<bool> mbAnswered = false;
    std::vector<std::string> mNotes; ///< what was done to it; the server's mutex guards it
};

/// Threads: one for Submit; any for the others.
/// Owns:    the host with its threads and jobs. What has ended it doesn't keep, but for a row of the table, if there is
///          one.
/// Errors:  a request that fails is logged and answered with its error. The constructor throws RequestError when the
///          database can't be reached, std::system_error when there are no threads.
/// Locks:   one, under which nothing is called.
class Server
{
public:
    /// Is told what happens to a job, on the thread that does it.
    using Listener = std::function<void(int iJob, const std::string& iWhat)>;

    /// What the library tells of each job at its end goes into the dump; null for none. So may the listener be.
    Server(Warehouse& ioWarehouse, Mailboxes& ioMailboxes, QORMonitor& ioMonitor, const Options& iOptions,
           OutputFile* iDump, Listener iListener);
    ~Server();
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    /// For the next request: its number, and its job's id. The n-th is n, below cFirstChild.
    int MakeId();
    /// The one answer goes to `iClient`, from another thread or before the call returns: an error if the host doesn't
    /// accept the job.
    EnumHostSubmit Submit(int iId, ICKDXReadMessage* iRequest, QORChannel* iClient);
    /// For the step that executes a document: each of its reports becomes a job.
    void StartChildren(QORHostRun& ioRun, ServerJob& ioDocument);
    /// False when jobs are still open at the end of that time.
    bool WaitFor(std::chrono::milliseconds iTime);
    /// From here on jobs only close.
    void Stop() { mHost.RequestStop(); }
    /// From here on no request is accepted. False when jobs are still open at the end of that time.
    bool Drain(std::chrono::milliseconds iTime) { return mHost.Drain(iTime); }

    /// Is obeyed when the step comes, also for jobs to come; that it can't be done is logged.
    void Order(const Control& iControl);
    /// Is obeyed now; false when it is left for a step to come. Throws RequestError, with the reason, when it can't be
    /// done.
    bool Obey(const Control& iControl);
    /// Those for which there is an order to resume them; or all, when nobody is there any more who could.
    void ResumePaused(bool ibAll);

    /// Null when it isn't open.
    std::shared_ptr<ServerJob> Find(int iJob);
    /// Not while jobs run.
    const JobRows& GetRows() const { return mRows; }
    /// Those whose step never came. Not while jobs run.
    const std::vector<Control>& GetOrders() const { return mOrders; }

private:
    QORHostConfig MakeConfig(const Options& iOptions);
    template <class SubmitJob>
    EnumHostSubmit Launch(const std::shared_ptr<ServerJob>& iJob, SubmitJob&& iSubmit);
    void Run(const Step& iStep, QORHostRun& ioRun);
    void Refuse(ServerJob& ioJob, const std::string& iReason);
    void End(ServerJob& ioJob, const QORHostJob& iHandle, const QORJob& iEnded);
    void AddRow(const ServerJob& iJob, int iStatus, const Journey& iJourney);
    void Tell(const ServerJob& iJob, const std::string& iWhat) const;

    bool Exists(int iJob);
    void AddNote(int iJob, const std::string& iNote);
    void ObeyOrders(int iJob, int iStepId);
    bool HasOrders();
    std::vector<Control> TakeOrders(int iJob, int iStepId, bool ibResume);

    const Warehouse& mWarehouse;
    Mailboxes& mMailboxes;
    QORMonitor& mMonitor;
    const std::uint64_t mJobMemory;
    const bool mbTable; ///< rows are kept
    OutputFile* const mpDump;
    const Listener mListener;
    std::mutex mMutex; // guards what follows but the host
    int mLastId = 0;
    std::map<int, std::shared_ptr<ServerJob>> mOpen;
    std::condition_variable mAllEnded;
    JobRows mRows;
    std::vector<Control> mOrders;
    QORHost mHost; // last: its threads use the rest. None is left behind: all steps stop when they are told to
};

// What a monitor's threads share: its looks at open jobs, and what it keeps of ended ones.
#pragma once

#include "monitor/History.h"
#include "monitor/Mutexes.h"
#include "monitor/QORMonitor.h"
#include "monitor/Source.h"

#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace QORMONITOR
{

class Core
{
public:
    explicit Core(QORMonitorConfig iConfig);
    ~Core();
    Core(const Core&) = delete;
    Core& operator=(const Core&) = delete;

    void SetSource(std::shared_ptr<const Source> iSource);
    /// The state and the reason are the host's; the rest of the row is read of the job.
    void AddEnded(const QORJob& iJob, QORMonitorRow iRow);

    QORMonitorPage List(const QORMonitorQuery& iQuery);
    std::optional<QORMonitorDetail> Find(int iJob);
    std::vector<QORMonitorRow> FindChildren(int iJob, std::size_t iMost);
    std::vector<QORMonitorDetail> FindWindow(QORMonitorTime iFrom, QORMonitorTime iTo, std::size_t iMost);
    QORMonitorFigures GetFigures();
    QORHostJob FindHandle(int iJob);

    std::string GetUnitName(int iUnit);
    std::string GetStepName(int iStepId);
    const std::vector<unsigned>& GetLanguages() const { return mConfig.mLanguages; }

private:
    using Clock = std::chrono::steady_clock;

    /// The source, which stays as long as this; none where nothing is watched.
    class Use
    {
    public:
        explicit Use(Core& ioCore);
        ~Use();
        Use(const Use&) = delete;
        Use& operator=(const Use&) = delete;

        explicit operator bool() const { return mpSource != nullptr; }
        const Source* operator->() const { return mpSource.get(); }

    private:
        Core& mCore;
        std::shared_ptr<const Source> mpSource;
    };

    /// What there is to see now.
    struct View
    {
        std::shared_ptr<const Table> mpTable;
        std::vector<const Open*> mOpen; ///< of the table, the newest first
        std::vector<Ended> mEnded;      ///< the last to end first
    };

    std::shared_ptr<const Table> GetTable();
    std::shared_ptr<const Table> Look(std::unique_lock<LookMutex>& ioHold);
    void Run();
    View GetView();
    static std::vector<const QORMonitorRow*> GetRows(const View& iView);
    static const Open* FindOpen(const Table& iTable, int iJob);

    const QORMonitorConfig mConfig;
    History mHistory;

    mutable SourceMutex mSourceMutex; // guards what follows
    QSynch::Condition mLeft;          // somebody doesn't use a source any more
    std::shared_ptr<const Source> mpSource;

    LookMutex mLookMutex; // guards what follows but the thread
    QSynch::Condition mAsked;
    QSynch::Condition mLooked;
    unsigned mGeneration = 0;             // of the source
    std::shared_ptr<const Table> mpTable; // null: none of this source yet
    Clock::time_point mLookedAt{};
    Clock::duration mCost{};
    bool mbLooking = false;
    bool mbAsked = false;
    bool mbEnded = false;
    std::thread mLooker;
};

} // namespace QORMONITOR

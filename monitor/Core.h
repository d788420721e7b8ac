// What a monitor's threads share: its looks at open jobs, and what it keeps of ended ones.
#pragma once

#include "monitor/History.h"
#include "monitor/QORMonitor.h"
#include "monitor/Source.h"

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <shared_mutex>
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
    std::vector<QORMonitorRow> FindChildren(int iJob);
    std::vector<QORMonitorDetail> FindWindow(QORMonitorTime iFrom, QORMonitorTime iTo, std::size_t iMost);
    QORMonitorFigures GetFigures();
    QORHostJob FindHandle(int iJob);

    std::string GetUnitName(int iUnit) const;
    std::string GetStepName(int iStepId) const;
    const std::vector<unsigned>& GetLanguages() const { return mConfig.mLanguages; }

private:
    using Clock = std::chrono::steady_clock;

    /// A thread's turn to look; another thread has it where it isn't this one's.
    class Turn
    {
    public:
        explicit Turn(Core& ioCore);
        ~Turn();
        Turn(const Turn&) = delete;
        Turn& operator=(const Turn&) = delete;

        bool IsMine() const { return mbMine; }
        const std::shared_ptr<const Table>& GetTable() const { return mpTable; }

    private:
        Core& mCore;
        const Clock::time_point mBegin;
        bool mbMine = false;
        std::shared_ptr<const Table> mpTable; // the last look's
    };

    /// What there is to see now.
    struct View
    {
        std::shared_ptr<const Table> mpTable;
        std::vector<Ended> mEnded;               ///< the last to end first
        std::vector<const QORMonitorRow*> mRows; ///< the open ones, and then those
        std::size_t mOpen = 0;
    };

    std::shared_ptr<const Table> GetTable();
    std::shared_ptr<const Table> Look();
    void Run();
    View GetView();
    QORMonitorDetail Read(const QORJob& iJob, QORMonitorRow iRow) const;
    static const Open* FindOpen(const Table& iTable, int iJob);

    const QORMonitorConfig mConfig;
    History mHistory;

    mutable std::shared_mutex mSourceMutex; // shared by who uses the source; guards it
    std::shared_ptr<const Source> mpSource; // null: nothing is watched

    std::mutex mLookMutex; // guards what follows but the thread
    std::condition_variable mAsked;
    std::condition_variable mLooked;
    std::shared_ptr<const Table> mpTable;
    Clock::time_point mLookedAt{};
    Clock::duration mCost{};
    bool mbLooking = false;
    bool mbAsked = false;
    bool mbEnded = false;
    std::thread mLooker;
};

} // namespace QORMONITOR

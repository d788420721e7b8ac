// What the guest offers to the program that loads it.
#pragma once

/// A module of a server: it is linked with the library, which is loaded with it, and holds an initialiser of its own.
/// The table is what its function GetGuest gives.
struct Guest
{
    /// Takes a job through its life, and throws and catches an exception of the library. Gives the number of log lines
    /// that were heard.
    int (*mpRunJob)();
    /// Switches the jobs' router on for good.
    void (*mpEnableLog)();
    /// The users of the log library: 1 while the module's state is up.
    unsigned (*mpCountLogUsers)();
    /// Leaves threads that hold a lock of each kind for ever. The guest's end takes them all.
    void (*mpLeaveThreadsInLocks)();
};

using GetGuestFunction = const Guest* (*)();

// The categories by which lock diagnostics and instance counts know the library's locks and objects.
#pragma once

enum EnumLockCategory : int
{
    LockCategoryCommon = -3, ///< of several kinds: log routers, and the thread messages of a process context
    LockCategoryJob = 4,
    LockCategoryDependencyManager = 26,
    LockCategoryNamedIdsList = 27,
    LockCategoryComObject = 300,
};

enum EnumInstanceCategory : int
{
    InstanceCategoryJob = 4,
    InstanceCategoryTask = 7,
    InstanceCategoryProcessContext = 11,
};

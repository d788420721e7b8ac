// A user's session: the job library counts it, and the kernel keeps one a user.
#pragma once

#include "qorjob.h"

#include <atomic>

/// Threads: any.
class UserSession final : public QorUserSession
{
public:
    unsigned AddRef() override { return ++mReferences; }

    unsigned Release() override
    {
        const unsigned left = --mReferences;
        if (left == 0)
            delete this;
        return left;
    }

private:
    ~UserSession() override = default;

    std::atomic<unsigned> mReferences{0};
};

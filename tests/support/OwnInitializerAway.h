// The library without its own initialiser, for tests that bring its services up and down.
#pragma once

#include "base/QORJobInitializer.h"

#include <new>

/// Destroys the library's own initialiser and makes it again. Initialisers have no state, so its storage can be used.
class OwnInitializerAway
{
public:
    OwnInitializerAway() { mOwn.~Initializer(); }
    ~OwnInitializerAway() { ::new (&mOwn) QORJOB::Initializer; }
    OwnInitializerAway(const OwnInitializerAway&) = delete;
    OwnInitializerAway& operator=(const OwnInitializerAway&) = delete;

private:
    union
    {
        QORJOB::Initializer mOwn;
    };
};

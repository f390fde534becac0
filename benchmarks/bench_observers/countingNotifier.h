#pragma once

#include <base/ownership/oPtr.h>
#include <resmgt/observers/obNotifierAny.h>
#include <resmgt/observers/obObserverAny.h>

class CountingObserver : public Qv::ObObserverAny {
public:
    long _nbCalls = 0;
};

/// Counts the calls of each observer, a CountingObserver. It is made in a file of its own, as an
/// application's is: where a compiler sees the only notifier beside a loop, it puts the body into
/// the loop, and nothing of a call is left to measure.
Qv::OPtr<Qv::ObNotifierAny> makeCountingNotifier();

#pragma once

#include <resmgt/resmgtApi.h>

namespace Qv {

/// The numbers of workers and requests of a CtNonAsyncServer's engine. A number below 1 means none.
struct QV_RESMGT_API CtEngineOptions {
    /// Workers that serve requests in their order of arrival. There are none where there are
    /// workers of the next kind.
    int nbAsyncThreads = 4;
    /// Workers that serve first what was asked for first, block by block.
    int nbAsyncPrioThreads = 2;
    /// Synchronous requests that may be in the store at the same time; below 1, all.
    int nbSyncPrioRequests = 2;

    /// The values that QV_CONTENT_NB_ASYNC_THREADS, QV_CONTENT_NB_ASYNC_PRIO_THREADS and
    /// QV_CONTENT_NB_SYNC_PRIO_REQUESTS have in the environment now. No other thread may change it
    /// meanwhile.
    static CtEngineOptions getConfigured();
    /// The same of QV_MAX_NB_OPEN_FILES, for clients that keep hints. Servers keep none, and don't
    /// look at it.
    static int getMaxNbOpenFiles();
};

} // namespace Qv

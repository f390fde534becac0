#pragma once

namespace Qv {

class MtThread;

/// The calling thread's object, null if it has none.
class MtCurrentThread {
public:
    MtCurrentThread() = delete;

    static MtThread* get() noexcept { return _current; }
    static void set( MtThread* thread ) noexcept { _current = thread; }

private:
    static thread_local constinit MtThread* _current;
};

} // namespace Qv

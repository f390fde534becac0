#pragma once

namespace Qv::LkThreadDataTypes {

/// The content of a thread's slot after its value was freed.
enum DeleteAction : int {
    /// Nothing: the thread may use the data again and gets a new value.
    DELETE_AND_CLEAR = 0,
    /// The busy mark: any further use by this thread is a fault.
    DELETE_AND_MARK = 1
};

} // namespace Qv::LkThreadDataTypes

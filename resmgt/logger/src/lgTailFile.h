#pragma once

#include <array>
#include <string>
#include <vector>

/// The files in memory that hold queues which outlive their process: one a queue, of its user
/// alone, locked as long as the process lives.
namespace Qv::LgTailFile {

using Name = std::array<char, 64>;

/// A new file, open and locked; negative where none can be made.
int create( Name& name ) noexcept;
/// Closes and removes a file of this process; no effect for a negative one.
void remove( int file, const Name& name ) noexcept;

/// The names of all files of this user, but for those of this process.
std::vector<std::string> list();
/// The whole file, and whether its process is alive. Empty for what is no file of this user.
std::vector<char> read( const std::string& name, bool& isAlive );
/// Removes what processes of this user that are gone have left, but for the newest.
void removeOld() noexcept;
/// Removes the file of a process that is gone. False if it can't.
bool removeDead( const std::string& name );

} // namespace Qv::LgTailFile

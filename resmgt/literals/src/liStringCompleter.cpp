#include <resmgt/literals/liStringCompleter.h>
#include <resmgt/literals/liStringUtil.h>

#include <algorithm>

namespace Qv {

void LiStringCompleter::setDictionnary( const Vector<std::string>& entries ) {
    _dictionnary = entries;
    forget();
}

bool LiStringCompleter::addDictionnaryEntry( const std::string& entry ) {
    if( std::find( _dictionnary.begin(), _dictionnary.end(), entry ) != _dictionnary.end() ) {
        return false;
    }
    _dictionnary.push_back( entry );
    forget();
    return true;
}

bool LiStringCompleter::complete( const std::string& prefix, bool isForward ) {
    const std::string lower = LiStringUtil::toLowerCase( prefix );
    if( !_matches.empty() && lower == _prefix ) {
        const std::size_t step = isForward ? 1 : _matches.size() - 1;
        _current = ( _current + step ) % _matches.size();
    } else {
        forget();
        for( const std::string& entry : _dictionnary ) {
            if( LiStringUtil::toLowerCase( entry ).starts_with( lower ) ) {
                _matches.push_back( entry );
            }
        }
        _prefix = lower;
        _current = isForward || _matches.empty() ? 0 : _matches.size() - 1;
    }
    _item = _matches.empty() ? std::string() : _matches[_current];
    return !_matches.empty();
}

void LiStringCompleter::forget() {
    _matches.clear();
    _item.clear();
}

} // namespace Qv

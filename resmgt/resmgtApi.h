#pragma once

/// Marks what libQVresmgt exports.
#if defined( _WIN32 )
#    if defined( QV_BUILDING_RESMGT )
#        define QV_RESMGT_API __declspec( dllexport )
#    else
#        define QV_RESMGT_API __declspec( dllimport )
#    endif
#else
#    define QV_RESMGT_API __attribute__( ( visibility( "default" ) ) )
#endif

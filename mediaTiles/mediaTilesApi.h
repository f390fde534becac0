#pragma once

/// Marks what libQVmediaTiles exports.
#if defined( _WIN32 )
#    if defined( QV_BUILDING_MEDIATILES )
#        define QV_MEDIATILES_API __declspec( dllexport )
#    else
#        define QV_MEDIATILES_API __declspec( dllimport )
#    endif
#else
#    define QV_MEDIATILES_API __attribute__( ( visibility( "default" ) ) )
#endif

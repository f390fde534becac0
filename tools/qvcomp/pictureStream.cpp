#include <tools/qvcomp/pictureStream.h>

#include <tools/qvcomp/layerReader.h>
#include <tools/qvcomp/placement.h>
#include <tools/qvcomp/tileSum.h>

#include <numeric>

namespace Qv::Comp {

namespace {

/// What placing and joining a layer takes for each pixel of the frame, in nanoseconds.
double getCompositingCost( const Placement& placement ) noexcept {
    constexpr double PLACING = 12.0;
    constexpr double ACROSS = 15.0;
    constexpr double DOWN = 5.5;
    constexpr double BICUBIC_TAPS = 4.0;
    if( placement.isUntouched() ) {
        return PLACING;
    }
    const auto countTaps = [&]( const AxisPlacement& axis ) {
        return BICUBIC_TAPS * std::max( 1.0, 1.0 / axis.scale );
    };
    return PLACING + ACROSS * countTaps( placement.x ) / placement.y.scale +
           DOWN * countTaps( placement.y );
}

/// Makes one picture.
class Stream {
public:
    Stream( const Scene& scene, const StreamPlan& plan, TileStore& store, PassRunner& runner,
            PictureSink& sink )
        : _scene( scene )
        , _plan( plan )
        , _runner( runner )
        , _sink( sink )
        , _decoders( scene.readingMemory )
        , _picture( store.createPlane( "picture", scene.width, scene.height ) ) {
        for( std::size_t i = 0; i < scene.layers.size(); ++i ) {
            _readers.push_back( std::make_unique<LayerReader>( scene.layers[i], plan.getSeen( i ),
                                                               store, _decoders ) );
        }
        if( const auto& glow = plan.getGlow() ) {
            _across = store.createPlane( "glow", glow->getColumns(), scene.height );
        }
        listKinds();
    }

    std::unique_ptr<TilePlane> run( const std::string& name ) {
        _runner.getPasses().begin( name, _kinds );
        StreamLines lines;
        if( _plan.readsAhead() ) {
            runUnits( [&] { addReading( lines, _plan.advance( lines ) ); } );
        }
        while( !_plan.isDone( lines ) ) {
            const StreamLines next = _plan.advance( lines );
            if( !_plan.readsAhead() ) {
                runUnits( [&] { addReading( lines, next ); } );
            }
            runUnits( [&] { addStep( lines, next ); } );
            finishWaiting( lines, next );
            giveUp( lines, next );
            lines = next;
        }
        _runner.getPasses().end();
        return std::move( _picture );
    }

private:
    /// Names each kind of work, with what it costs in proportion to the others.
    void listKinds() {
        constexpr double READING = 60.0;
        constexpr double SPREADING = 45.0;
        constexpr double GLOWING = 45.0;
        constexpr double TAKING = 90.0;
        const double frame = static_cast<double>( _scene.width ) * _scene.height;
        double compositing = 0.0;
        for( const LayerInfo& layer : _scene.layers ) {
            const PixelArea seen = _plan.getSeen( _kinds.size() );
            addKind( "Reading " + layer.path.getBaseName( OsFilePath::WITH_EXTENSION ).toString(),
                     READING * seen.getWidth() * seen.getHeight() );
            compositing += getCompositingCost( placeLayer( layer, _scene ) );
        }
        addKind( "Compositing", compositing * frame );
        if( _across ) {
            addKind( "Glow across", SPREADING * frame );
            addKind( "Glow", GLOWING * frame );
        }
        addKind( _sink.getKind(), TAKING * frame );
    }

    void addKind( std::string name, double cost ) {
        _kinds.push_back( std::move( name ) );
        _costs.push_back( cost );
    }

    template <class Add>
    void runUnits( const Add& add ) {
        _units.clear();
        add();
        _runner.run( _units );
    }

    /// What takes longest comes first, so that the threads end at about the same time.
    void addStep( const StreamLines& lines, const StreamLines& next ) {
        addUnits( _kinds.size() - 1, next.taken - lines.taken, [&] {
            if( next.taken > lines.taken ) {
                _units = _sink.take( *_picture, lines.taken, next.taken );
            }
        } );
        const std::size_t compositing = _readers.size();
        if( _across ) {
            addUnits( compositing + 2, next.complete - lines.complete, [&] {
                for( const PixelArea& area : _plan.listPieces( lines.complete, next.complete ) ) {
                    addGlowing( area );
                }
            } );
            addUnits( compositing + 1, next.spread - lines.spread,
                      [&] { addSpreading( lines.spread, next.spread ); } );
        }
        addUnits( compositing, next.composed - lines.composed, [&] {
            for( const PixelArea& area : _plan.listPieces( lines.composed, next.composed ) ) {
                addCompositing( area );
            }
        } );
        if( _plan.readsAhead() ) {
            addReading( next, _plan.advance( next ) );
        }
    }

    /// Lets `add` add units of this kind, which are for so many lines of the picture.
    template <class Add>
    void addUnits( std::size_t kind, int lines, const Add& add ) {
        const std::size_t first = _units.size();
        add();
        noteUnits( kind, first,
                   1.0 * lines / _scene.height / static_cast<double>( _units.size() - first ) );
    }

    /// The units from `first` on are of this kind, each of them such a part of all that is done of
    /// it.
    void noteUnits( std::size_t kind, std::size_t first, double part ) {
        const double share = _costs[kind] / std::accumulate( _costs.begin(), _costs.end(), 0.0 );
        for( std::size_t i = first; i < _units.size(); ++i ) {
            _units[i].kind = kind;
            _units[i].part = share * part;
        }
    }

    /// Reads what the lines between the two need.
    void addReading( const StreamLines& from, const StreamLines& to ) {
        for( std::size_t i = 0; i < _readers.size(); ++i ) {
            LayerReader& reader = *_readers[i];
            const std::size_t first = _units.size();
            for( const TilePos part : reader.takeParts( _plan.getFirstLine( i, from.composed ),
                                                        _plan.getEndLine( i, to.composed ) ) ) {
                _units.push_back( { nullptr, [&reader, part] { reader.read( part ); } } );
            }
            noteUnits( i, first, 1.0 / static_cast<double>( reader.countParts() ) );
        }
    }

    void addCompositing( const PixelArea& area ) {
        const auto getInputs = [this, area] {
            std::vector<TileRef> inputs;
            for( std::size_t i = 0; i < _readers.size(); ++i ) {
                const auto more = listAreaInputs( _readers[i]->getPlane(),
                                                  _plan.getLayers()[i].getSource( area ) );
                inputs.insert( inputs.end(), more.begin(), more.end() );
            }
            return inputs;
        };
        _units.push_back( { getInputs, [this, area] {
                               const TileWriter piece = writePiece( area );
                               clear( piece );
                               for( std::size_t i = 0; i < _readers.size(); ++i ) {
                                   _plan.getLayers()[i].joinTo( piece, _readers[i]->getPlane() );
                               }
                           } } );
    }

    TileWriter writePiece( const PixelArea& area ) {
        return _picture->write( _picture->getPos( area.x0, area.y0 ) ).within( area );
    }

    void addSpreading( int y0, int y1 ) {
        const Glow& glow = *_plan.getGlow();
        for( const PixelArea& area : glow.listAreas( *_picture, y0, y1 ) ) {
            _units.push_back(
                { [this, &glow, area] { return glow.listInputs( *_picture, area ); },
                  [this, &glow, area] { glow.spread( *_picture, *_across, area ); } } );
        }
    }

    void addGlowing( const PixelArea& area ) {
        const Glow& glow = *_plan.getGlow();
        const auto getInputs = [this, &glow, area] {
            std::vector<TileRef> inputs = listAreaInputs( *_across, glow.getSource( area ) );
            inputs.insert( inputs.begin(),
                           { _picture.get(), _picture->getPos( area.x0, area.y0 ) } );
            return inputs;
        };
        _units.push_back(
            { getInputs, [this, &glow, area] { glow.addTo( writePiece( area ), *_across ); } } );
    }

    /// What isn't taken soon may be put away.
    void finishWaiting( const StreamLines& lines, const StreamLines& next ) {
        if( _across || _plan.keepsPicture() ) {
            forEachEnding( *_picture, lines.composed, next.composed,
                           [this]( TilePos pos ) { _picture->finish( pos ); } );
        }
    }

    /// Discards what nobody needs any more.
    void giveUp( const StreamLines& lines, const StreamLines& next ) {
        for( std::size_t i = 0; i < _readers.size(); ++i ) {
            _readers[i]->discardAbove( _plan.getFirstLine( i, next.composed ) );
        }
        if( _across ) {
            discard( *_across, _plan.getFirstSpread( lines.complete ),
                     _plan.getFirstSpread( next.complete ) );
        }
        if( !_plan.keepsPicture() ) {
            discard( *_picture, lines.taken, next.taken );
        }
    }

    static void discard( TilePlane& plane, int y0, int y1 ) {
        forEachEnding( plane, y0, y1, [&plane]( TilePos pos ) { plane.discard( pos ); } );
    }

    /// Calls `use( pos )` for the tiles with lines from `y0` on and none from `y1` on.
    template <class Use>
    static void forEachEnding( TilePlane& plane, int y0, int y1, const Use& use ) {
        for( const TileRef& tile : listAreaInputs( plane, { 0, y0, plane.getWidth(), y1 } ) ) {
            if( plane.getArea( tile.pos ).y1 <= y1 ) {
                use( tile.pos );
            }
        }
    }

    const Scene& _scene;
    const StreamPlan& _plan;
    PassRunner& _runner;
    PictureSink& _sink;
    DecoderPool _decoders;
    std::vector<std::unique_ptr<LayerReader>> _readers;
    std::unique_ptr<TilePlane> _picture;
    /// The light that is spread along the lines; null without a glow.
    std::unique_ptr<TilePlane> _across;
    std::vector<std::string> _kinds;
    std::vector<double> _costs;
    /// Of the step that comes next.
    std::vector<Unit> _units;
};

} // namespace

std::unique_ptr<TilePlane> streamScene( const Scene& scene, const StreamPlan& plan,
                                        TileStore& store, PassRunner& runner, PictureSink& sink,
                                        const std::string& name ) {
    return Stream( scene, plan, store, runner, sink ).run( name );
}

} // namespace Qv::Comp

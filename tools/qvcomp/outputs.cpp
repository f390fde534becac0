#include <tools/qvcomp/outputs.h>

#include <tools/qvcomp/failure.h>
#include <tools/qvcomp/interrupt.h>
#include <tools/qvcomp/pictureHead.h>

namespace Qv::Comp {

namespace {

void checkInputs( const PendingFile& output, const Scene& scene ) {
    for( const LayerInfo& layer : scene.layers ) {
        if( output.replaces( layer.file ) ) {
            throw UsageFailure( Tag::OUTPUT_IS_LAYER, output.getPath().toString() );
        }
    }
}

/// The job that is written may take the place of one that was read.
void checkJobs( const PendingFile& output, const Options& options ) {
    for( const OsFilePath& job : options.jobs ) {
        struct stat facts;
        if( ::stat( job.getChars(), &facts ) == 0 && output.replaces( FileId( facts ) ) ) {
            throw UsageFailure( Tag::OUTPUT_IS_JOB, output.getPath().toString() );
        }
    }
}

} // namespace

Outputs::Outputs( const Options& options, const Scene& scene )
    : _picture( options.output ) {
    checkInputs( _picture, scene );
    checkJobs( _picture, options );
    if( !options.preview.isEmpty() ) {
        _preview.emplace( options.preview );
        checkInputs( *_preview, scene );
        checkJobs( *_preview, options );
        checkPlaces();
    }
    if( !options.writtenJob.isEmpty() ) {
        _job.emplace( options.writtenJob );
        checkInputs( *_job, scene );
        checkJobsPlace();
        const std::string text = makeJob( options.typed );
        _job->write( 0, text.data(), text.size() );
    }
}

PictureFiles Outputs::makeFiles( const Scene& scene, Dithering dithering ) {
    return PictureFiles( scene.width, scene.height, makePictureHead( scene ), _picture,
                         getPreview(), dithering );
}

void Outputs::commit( const std::optional<OutputLock>& lock ) {
    _picture.sync();
    if( _preview ) {
        _preview->sync();
    }
    if( _job ) {
        _job->sync();
    }
    InterruptNote::check();
    if( lock ) {
        lock->verify();
    }
    _picture.commit();
    if( _preview ) {
        checkPlaces();
        _preview->commit();
    }
    if( _job ) {
        checkJobsPlace();
        _job->commit();
    }
}

void Outputs::checkPlaces() const {
    if( _preview->hasPlaceOf( _picture ) ) {
        throw UsageFailure( Tag::SAME_OUTPUTS );
    }
}

void Outputs::checkJobsPlace() const {
    if( _job->hasPlaceOf( _picture ) || ( _preview && _job->hasPlaceOf( *_preview ) ) ) {
        throw UsageFailure( Tag::JOB_IS_OUTPUT );
    }
}

} // namespace Qv::Comp

#pragma once

#include <tools/qvcomp/options.h>
#include <tools/qvcomp/outputLock.h>
#include <tools/qvcomp/pendingFile.h>
#include <tools/qvcomp/pictureFile.h>
#include <tools/qvcomp/scene.h>

namespace Qv::Comp {

/// The picture and, where they are wanted, the preview and the job.
///
/// Errors: Failure; UsageFailure when one would take the place of a layer, a job or another one.
class Outputs {
public:
    Outputs( const Options& options, const Scene& scene );

    /// What writes a picture of the scene; this outlives it.
    PictureFiles makeFiles( const Scene& scene, Dithering dithering );
    /// Gives the files their names, which comes last, when nothing else can fail.
    void commit( const std::optional<OutputLock>& lock );

private:
    void checkPlaces() const;
    void checkJobsPlace() const;
    PendingFile* getPreview() { return _preview ? &*_preview : nullptr; }

    PendingFile _picture;
    std::optional<PendingFile> _preview;
    std::optional<PendingFile> _job;
};

} // namespace Qv::Comp

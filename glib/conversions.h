#ifndef GLIB_CONVERSIONS_H_
#define GLIB_CONVERSIONS_H_

#include <gio/gio.h>

#include "client/error.h"
#include "client/observation.h"
#include "client/place.h"
#include "client/result.h"

#include "kesu-error.h"
#include "kesu-observation.h"
#include "kesu-place.h"

/// Between the values of C++ and the objects that hold them. What is made here is the caller's.
namespace kesu_glib {

GError* NewError(const kesu::Error& error);
/// kNone for what is no code.
kesu::ErrorKind KindOf(KesuError code);

/// Borrowed, until the observation changes.
const kesu::Observation& ContentOf(KesuObservation* observation);
kesu::Point ContentOf(KesuPoint* point);

KesuBoundingBox* NewBoundingBox(const kesu::BoundingBox& box);
GPtrArray* NewFeatures(const std::vector<kesu::Feature>& features);
KesuLocation* NewLocation(const kesu::Location& location);
KesuPlace* NewPlace(const kesu::Result<kesu::Place>& place);

}  // namespace kesu_glib

#endif  // GLIB_CONVERSIONS_H_

#ifndef KESU_GLIB_H_
#define KESU_GLIB_H_

#include "kesu-client.h"
#include "kesu-error.h"
#include "kesu-feature.h"
#include "kesu-observation.h"
#include "kesu-place.h"
#include "kesu-point.h"

#endif  // KESU_GLIB_H_

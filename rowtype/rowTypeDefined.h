// What the source file of a row type includes, for rowtype/rowMembersDefined.inc and the value constructor.
#pragma once

#include "rowtype/builder.h"   // IWYU pragma: export
#include "rowtype/identity.h"  // IWYU pragma: export
#include "rowtype/rendering.h" // IWYU pragma: export
#include "rowtype/rowType.h"   // IWYU pragma: export
#include "rowtype/typeId.h"    // IWYU pragma: export
#include "rowtype/verify.h"    // IWYU pragma: export

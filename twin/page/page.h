// The page: serves it, and boots the camera behind it as often as its power is switched.
#pragma once

#include "twin/page/boot.h"
#include "twin/page/server.h"

namespace twin {

// Runs the program with its page until somebody ends it. Returns the exit status; where the page
// cannot be served at all, after a line on standard error.
int runPage(const PageAddress& where, const Boot& first);

// Shows the film that has been made (film.h), in the place of a camera, until a signal ends the
// program. Returns the exit status, as runPage does.
int showFilm(const PageAddress& where);

}  // namespace twin

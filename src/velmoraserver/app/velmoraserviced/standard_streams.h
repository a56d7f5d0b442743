#pragma once

namespace qor {

// Opens /dev/null for the standard streams that the caller has closed. Else the next file, pipe or
// connection takes the place of one, and what is printed goes into it. To be called before anything
// is opened.
void openClosedStreams();

}  // namespace qor

#ifndef BASE_EXAMPLES_PACK_WALKTHROUGH_H_
#define BASE_EXAMPLES_PACK_WALKTHROUGH_H_

// Writes a message field by field, prints it, reads it back. 0 on success.
int RunPackWalkthrough();

#endif  // BASE_EXAMPLES_PACK_WALKTHROUGH_H_

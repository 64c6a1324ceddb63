#ifndef BASE_EXAMPLES_HOST_H_
#define BASE_EXAMPLES_HOST_H_

// Runs the host for `seconds`, or until a key is pressed on a terminal.
// 0 on success.
int RunHost(unsigned seconds);

#endif  // BASE_EXAMPLES_HOST_H_

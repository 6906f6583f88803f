// What the C runtime makes of the command line before main sees it.

// A target may hold "*", and what that means is the tool's to say: no expansion into file names,
// which the runtime of some mingw builds does unless told otherwise.
extern "C" {
extern int _dowildcard;
int _dowildcard = 0;
}

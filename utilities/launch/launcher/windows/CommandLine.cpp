// Disables wildcard expansion, which some mingw-w64 builds enable by default: a "*" in a target is
// for the Java program to interpret.
extern "C" {
extern int _dowildcard;
int _dowildcard = 0;
}

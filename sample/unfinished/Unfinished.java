package unfinished;

/** Breaks off in the middle, on purpose: even Validate, which only parses, refuses it. */
final class Unfinished {
    void begin() {
        int sum = 1 +
    }
}

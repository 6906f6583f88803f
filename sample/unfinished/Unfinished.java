package unfinished;

/** Deliberately incomplete: even Validate, which only parses, rejects it. */
final class Unfinished {
    void begin() {
        int sum = 1 +
    }
}

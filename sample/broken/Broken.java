package broken;

import engine.World;

/** Deliberately does not compile, to show compiler errors. */
final class Broken {
    int lives = "three";

    void fall(World world) {
        world.swallow(this);
    }
}

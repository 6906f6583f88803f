package broken;

import engine.World;

/** Does not compile, on purpose: shows how compiler errors arrive. */
final class Broken {
    int lives = "three";

    void fall(World world) {
        world.swallow(this);
    }
}

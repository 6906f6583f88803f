package game;

import engine.World;
import engine.math.Vector;

/** A piece that moves like a knight. */
final class Player {
    private static final Vector STEP = new Vector(1, 2);

    private final World world;
    private Vector place = new Vector(0, 0);

    Player(World world) {
        this.world = world;
    }

    Vector step() {
        place = world.move(place, STEP);
        return place;
    }
}

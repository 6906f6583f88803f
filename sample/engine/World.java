package engine;

import engine.math.Vector;

/** A square board that wraps around at its edges. */
public final class World {
    private final int size;

    public World(int size) {
        this.size = size;
    }

    public Vector move(Vector from, Vector step) {
        Vector to = from.plus(step);
        return new Vector(Math.floorMod(to.x, size), Math.floorMod(to.y, size));
    }
}

package engine.math;

/** A position or a step on the board. */
public final class Vector {
    public final int x;
    public final int y;

    public Vector(int x, int y) {
        this.x = x;
        this.y = y;
    }

    public Vector plus(Vector step) {
        return new Vector(x + step.x, y + step.y);
    }

    @Override
    public String toString() {
        return "(" + x + ", " + y + ")";
    }
}

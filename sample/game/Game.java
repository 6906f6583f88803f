package game;

import engine.World;

/** Moves a player by some steps (the first argument, 3 by default) and exits with their number. */
public final class Game {
    private Game() {}

    public static void main(String[] args) {
        int steps = args.length > 0 ? Integer.parseInt(args[0]) : 3;
        Player player = new Player(new World(8));
        for (int i = 1; i <= steps; i++) {
            System.out.println("Step " + i + ": " + player.step());
        }
        System.exit(steps);
    }
}

import com.martiansoftware.nailgun.NGContext;

/** The peer's program for the relay: prints prepared lines one by one and exits with code 7. */
public final class Lines {
    private static String[] prepared = {};

    private Lines() {}

    public static void nailMain(NGContext context) {
        int lines = Integer.parseInt(context.getArgs()[0]);
        if (prepared.length != lines) {
            prepared = new String[lines];
            for (int i = 0; i < lines; i++) {
                prepared[i] = String.format("Compiling com/drel/game/Class%07d.java", i);
            }
        }
        for (String line : prepared) {
            context.out.println(line);
        }
        context.exit(7);
    }
}

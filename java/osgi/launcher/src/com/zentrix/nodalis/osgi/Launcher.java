package com.zentrix.nodalis.osgi;

import java.io.File;
import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Comparator;
import java.util.HashMap;
import java.util.Iterator;
import java.util.List;
import java.util.Map;
import java.util.ServiceLoader;
import java.util.TreeSet;
import java.util.jar.JarEntry;
import java.util.jar.JarFile;
import java.util.stream.Stream;

import org.osgi.framework.Bundle;
import org.osgi.framework.BundleException;
import org.osgi.framework.Constants;
import org.osgi.framework.FrameworkEvent;
import org.osgi.framework.launch.Framework;
import org.osgi.framework.launch.FrameworkFactory;

/**
 * Starts an OSGi framework (whichever the class path carries: the first
 * {@link FrameworkFactory} that {@link ServiceLoader} finds) with the gateway's platform classes
 * exported as system packages, installs and starts the bundles given, and runs until the
 * framework stops (a bundle stops the system bundle) or the process gets SIGTERM or SIGINT, when
 * it stops the framework, and with it every bundle, before it exits.
 *
 * <pre>
 * java -Djava.library.path=LIBDIR -cp zxosgilauncher.jar:FRAMEWORK.jar:zxdeviceservice.jar \
 *      com.zentrix.nodalis.osgi.Launcher [--storage DIR] --export zxdeviceservice.jar BUNDLE.jar...
 * </pre>
 *
 * <p>The platform classes must stay on the class path and never go into a bundle: their static
 * initialisers load the bridge library with {@code System.loadLibrary}, and a native library can
 * belong to one class loader only. Exported from the class path, they are loaded once by the
 * application class loader, and every bundle that imports their packages shares them.
 *
 * <p>Exit status: 0 after a clean stop, 1 when a bundle cannot be installed or started or the
 * framework fails, 2 for a usage error.
 */
public final class Launcher {
    private static final String TAG = "[osgi] ";
    private static volatile boolean stopReported;

    private Launcher() {
    }

    /** Prints the usage: on standard output for --help (status 0), else with the reason on standard error. */
    private static void usage(String why) {
        java.io.PrintStream out = why == null ? System.out : System.err;
        if (why != null) {
            out.println("osgi launcher: " + why);
        }
        out.println("usage: Launcher [--storage DIR] [--export JAR]... BUNDLE.jar...");
        out.println("  --export JAR   every package of JAR (which must be on the class path) becomes a");
        out.println("                 system package of the framework");
        out.println("  --storage DIR  the framework's storage (default: a temporary directory, removed at the end)");
        System.exit(why == null ? 0 : 2);
    }

    public static void main(String[] args) throws Exception {
        List<String> exportJars = new ArrayList<>();
        List<String> bundles = new ArrayList<>();
        String storage = null;
        for (int i = 0; i < args.length; i++) {
            switch (args[i]) {
                case "--help", "-h" -> {
                    usage(null);
                }
                case "--export" -> {
                    if (++i == args.length) usage("--export needs a jar");
                    exportJars.add(args[i]);
                }
                case "--storage" -> {
                    if (++i == args.length) usage("--storage needs a directory");
                    storage = args[i];
                }
                default -> {
                    if (args[i].startsWith("-")) usage("unknown option " + args[i]);
                    bundles.add(args[i]);
                }
            }
        }
        if (bundles.isEmpty()) usage("no bundle given");

        String systemPackages = systemPackages(exportJars);
        final Path scratch = storage == null ? Files.createTempDirectory("zx-osgi-") : null;
        if (scratch != null) {
            storage = scratch.toString();
        }

        Map<String, String> config = new HashMap<>();
        config.put(Constants.FRAMEWORK_STORAGE, storage);
        config.put(Constants.FRAMEWORK_STORAGE_CLEAN, Constants.FRAMEWORK_STORAGE_CLEAN_ONFIRSTINIT);
        config.put(Constants.FRAMEWORK_SYSTEMPACKAGES_EXTRA, systemPackages);

        Iterator<FrameworkFactory> factories = ServiceLoader.load(FrameworkFactory.class).iterator();
        if (!factories.hasNext()) {
            System.err.println(TAG + "no OSGi framework on the class path");
            System.exit(1);
        }
        Framework framework = factories.next().newFramework(config);
        framework.init();
        System.out.println(TAG + "framework " + framework.getSymbolicName() + " " + framework.getVersion()
                + " (storage " + storage + ")");
        System.out.println(TAG + "system packages from the class path: " + systemPackages);

        // SIGTERM and SIGINT stop the framework: every bundle's activator gets its stop() call.
        Thread hook = new Thread(() -> {
            stopFramework(framework, "the process is asked to end");
            removeTree(scratch);
        }, "osgi-stop");
        Runtime.getRuntime().addShutdownHook(hook);

        int status = 0;
        try {
            framework.start();
            List<Bundle> installed = new ArrayList<>();
            for (String path : bundles) {
                Bundle b = framework.getBundleContext().installBundle(new File(path).toURI().toString());
                System.out.println(TAG + "installed " + b.getSymbolicName() + " " + b.getVersion() + " (bundle "
                        + b.getBundleId() + ") from " + path);
                installed.add(b);
            }
            for (Bundle b : installed) {
                b.start();
                System.out.println(TAG + "started " + b.getSymbolicName() + ", state " + stateName(b.getState()));
            }
        } catch (BundleException e) {
            System.out.println(TAG + "bundle failure: " + e.getMessage().strip());
            status = 1;
            stopFramework(framework, "a bundle failed");
        }

        FrameworkEvent end = framework.waitForStop(0);
        if (end.getType() == FrameworkEvent.ERROR) {
            System.out.println(TAG + "framework stopped with an error: " + end.getThrowable());
            status = 1;
        }
        removeTree(scratch);
        // A signal already runs the shutdown hooks; only a stop from inside ends the process here.
        try {
            Runtime.getRuntime().removeShutdownHook(hook);
        } catch (IllegalStateException shuttingDown) {
            return;
        }
        if (!stopReported) {
            System.out.println(TAG + "framework stopped");
        }
        System.exit(status);
    }

    private static void stopFramework(Framework framework, String why) {
        if ((framework.getState() & (Bundle.STARTING | Bundle.ACTIVE)) == 0) {
            return;
        }
        System.out.println(TAG + "stopping the framework: " + why);
        try {
            framework.stop();
            FrameworkEvent end = framework.waitForStop(30000);
            System.out.println(TAG + (end.getType() == FrameworkEvent.WAIT_TIMEDOUT
                    ? "framework did not stop within 30 s" : "framework stopped"));
            stopReported = true;
        } catch (BundleException | InterruptedException e) {
            System.out.println(TAG + "cannot stop the framework: " + e);
        }
        System.out.flush();
    }

    /** The packages with classes in the jars, each of which must be on the class path. */
    private static String systemPackages(List<String> jars) throws IOException {
        List<String> classPath = new ArrayList<>();
        for (String entry : System.getProperty("java.class.path").split(File.pathSeparator)) {
            classPath.add(new File(entry).getCanonicalPath());
        }
        TreeSet<String> packages = new TreeSet<>();
        for (String jar : jars) {
            if (!classPath.contains(new File(jar).getCanonicalPath())) {
                System.err.println("osgi launcher: " + jar + " is not on the class path: its packages would be"
                        + " exported but not found");
                System.exit(2);
            }
            try (JarFile file = new JarFile(jar)) {
                for (JarEntry e : (Iterable<JarEntry>) file.stream()::iterator) {
                    String name = e.getName();
                    int slash = name.lastIndexOf('/');
                    if (name.endsWith(".class") && slash > 0 && !name.startsWith("META-INF/")) {
                        packages.add(name.substring(0, slash).replace('/', '.'));
                    }
                }
            }
        }
        return String.join(",", packages);
    }

    private static String stateName(int state) {
        return switch (state) {
            case Bundle.INSTALLED -> "INSTALLED";
            case Bundle.RESOLVED -> "RESOLVED";
            case Bundle.STARTING -> "STARTING";
            case Bundle.STOPPING -> "STOPPING";
            case Bundle.ACTIVE -> "ACTIVE";
            case Bundle.UNINSTALLED -> "UNINSTALLED";
            default -> Integer.toString(state);
        };
    }

    private static void removeTree(Path root) {
        if (root == null || !Files.exists(root)) {
            return;
        }
        try (Stream<Path> walk = Files.walk(root)) {
            walk.sorted(Comparator.reverseOrder()).forEach(p -> p.toFile().delete());
        } catch (IOException | java.io.UncheckedIOException ignored) {
            // a temporary directory left behind is harmless
        }
    }
}

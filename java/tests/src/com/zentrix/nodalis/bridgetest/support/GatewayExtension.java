package com.zentrix.nodalis.bridgetest.support;

import com.google.gson.JsonElement;
import com.google.gson.JsonObject;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;
import org.junit.jupiter.api.extension.AfterAllCallback;
import org.junit.jupiter.api.extension.BeforeAllCallback;
import org.junit.jupiter.api.extension.BeforeEachCallback;
import org.junit.jupiter.api.extension.ExtensionContext;

/**
 * The simulated gateway of a test class: started before the first test in the JVM's bus
 * directory, stopped after the last (and required to exit 0). Before every test the injected
 * faults and the received records are cleared and every service's state is put back as it was at
 * the start, so tests do not depend on each other's order.
 *
 * <pre>
 *     &#64;RegisterExtension static final GatewayExtension gateway = new GatewayExtension();
 * </pre>
 */
public final class GatewayExtension implements BeforeAllCallback, AfterAllCallback, BeforeEachCallback {
    private final List<String> services;
    private GatewaySim sim;
    private SimControl ctl;
    private final Map<String, JsonObject> initialStates = new LinkedHashMap<>();

    /** Every service of the simulator. */
    public GatewayExtension() {
        this(List.of());
    }

    /** Only these services (empty: all). */
    public GatewayExtension(List<String> services) {
        this.services = services;
    }

    public SimControl ctl() {
        return ctl;
    }

    @Override
    public void beforeAll(ExtensionContext context) throws Exception {
        sim = GatewaySim.start(services);
        ctl = SimControl.connect();
        JsonObject ping = new JsonObject();
        ping.addProperty("op", "ping");
        for (JsonElement name : ctl.ok(ping).getAsJsonArray("services")) {
            initialStates.put(name.getAsString(), ctl.state(name.getAsString()));
        }
    }

    @Override
    public void beforeEach(ExtensionContext context) throws Exception {
        ctl.clearFaults();
        for (Map.Entry<String, JsonObject> e : initialStates.entrySet()) {
            if (e.getValue().size() > 0) ctl.setState(e.getKey(), e.getValue());
        }
        ctl.clearRecords();
    }

    @Override
    public void afterAll(ExtensionContext context) throws Exception {
        if (ctl != null) ctl.close();
        if (sim != null) {
            int status = sim.stop();
            if (status != 0) throw new AssertionError("gatewaysim exited with status " + status + " after SIGTERM");
        }
    }
}

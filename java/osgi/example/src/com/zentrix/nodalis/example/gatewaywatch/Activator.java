package com.zentrix.nodalis.example.gatewaywatch;

import java.util.Hashtable;

import org.osgi.framework.BundleActivator;
import org.osgi.framework.BundleContext;
import org.osgi.framework.ServiceEvent;
import org.osgi.framework.ServiceListener;
import org.osgi.framework.ServiceReference;
import org.osgi.framework.ServiceRegistration;

import com.zentrix.nodalis.deviceservice.entity.JNINativeMethods;
import com.zentrix.nodalis.deviceservice.impl.BaseServiceJNIMethods;

/**
 * The example plug-in. On start it links the process to the gateway's bus, registers its
 * {@link GatewayWatch} service and, when the framework announces that service, reads the
 * gateway's state through it, raises an event on the gateway's event centre and starts answering
 * USB device 3 (type 2). On stop it gives the device back and raises a last event.
 *
 * <p>The platform classes come from the framework (Import-Package), never from this bundle: the
 * bridge library is loaded once, by the class loader of the class path.
 */
public final class Activator implements BundleActivator, ServiceListener {
    static final int USB_DEVICE = 3;
    static final int USB_TYPE = 2;

    private final BaseServiceJNIMethods api = new BaseServiceJNIMethods();
    private final JNINativeMethods entity = new JNINativeMethods();
    private BundleContext context;
    private ServiceRegistration<GatewayWatch> registration;
    private UsbLineWatcher usb;

    /** One line of the plug-in's output. */
    static void say(String line) {
        System.out.println("[gatewaywatch] " + line);
        System.out.flush();
    }

    @Override
    public void start(BundleContext context) throws Exception {
        this.context = context;
        say("starting in " + context.getBundle(0).getSymbolicName() + " " + context.getBundle(0).getVersion()
                + "; platform classes from " + describeLoader(BaseServiceJNIMethods.class.getClassLoader()));
        int link = entity.startThread();
        say("JNINativeMethods.startThread() -> " + link + (link == 0 ? " (on the bus as \"jamvm\")" : " (no bus link)"));

        context.addServiceListener(this, "(objectClass=" + GatewayWatch.class.getName() + ")");
        Hashtable<String, Object> props = new Hashtable<>();
        props.put("gateway.usb.device", USB_DEVICE);
        registration = context.registerService(GatewayWatch.class, new GatewayWatchService(api, entity), props);
        say("registered service " + GatewayWatch.class.getName());
    }

    @Override
    public void stop(BundleContext context) throws Exception {
        say("stopping");
        if (usb != null) {
            usb.stop();
        }
        String event = api.eventInform("gatewaywatch.stopped", "{\"device\":" + USB_DEVICE + "}");
        say("eventInform(\"gatewaywatch.stopped\") -> " + event);
        registration.unregister();
        context.removeServiceListener(this);
        say("stopped");
    }

    /** The service's life as the framework announces it. */
    @Override
    public void serviceChanged(ServiceEvent event) {
        @SuppressWarnings("unchecked")
        ServiceReference<GatewayWatch> ref = (ServiceReference<GatewayWatch>) event.getServiceReference();
        switch (event.getType()) {
            case ServiceEvent.REGISTERED -> {
                say("service event REGISTERED: " + GatewayWatch.class.getSimpleName() + " (service id "
                        + ref.getProperty("service.id") + ")");
                GatewayWatch watch = context.getService(ref);
                report(watch);
                usb = new UsbLineWatcher(api, watch, USB_DEVICE, USB_TYPE);
                usb.start();
            }
            case ServiceEvent.UNREGISTERING -> {
                say("service event UNREGISTERING: " + GatewayWatch.class.getSimpleName());
                context.ungetService(ref);
            }
            default -> {
            }
        }
    }

    private void report(GatewayWatch watch) {
        String loid = watch.loid();
        say("LOID: " + loid);
        say("device MAC: " + watch.deviceMac());
        say("CPU usage: " + watch.cpuPercent() + " %");
        say("SSIDs: " + String.join(", ", watch.ssids()));
        for (String disc : watch.discs()) {
            say("disc: " + disc);
        }
        String data = "{\"loid\":\"" + loid + "\",\"usbDevice\":" + USB_DEVICE + "}";
        say("eventInform(\"gatewaywatch.started\", " + data + ") -> " + watch.raise("gatewaywatch.started", data));
    }

    private static String describeLoader(ClassLoader loader) {
        return loader == ClassLoader.getSystemClassLoader() ? "the class path (system class loader)"
                : String.valueOf(loader);
    }
}

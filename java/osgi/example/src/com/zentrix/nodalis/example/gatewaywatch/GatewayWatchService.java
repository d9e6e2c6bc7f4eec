package com.zentrix.nodalis.example.gatewaywatch;

import java.util.ArrayList;
import java.util.List;
import java.util.regex.Matcher;
import java.util.regex.Pattern;

import com.zentrix.nodalis.deviceservice.entity.JNINativeMethods;
import com.zentrix.nodalis.deviceservice.impl.BaseServiceJNIMethods;

/** {@link GatewayWatch} over the platform classes: every method is one or two natives. */
final class GatewayWatchService implements GatewayWatch {
    private static final Pattern PERCENT = Pattern.compile("\"Percent\":\"(-?\\d+)\"");
    private static final Pattern SSID = Pattern.compile("\"SSID\":\"([^\"]*)\",\"Band\":\"([^\"]*)\"");

    private final BaseServiceJNIMethods api;
    private final JNINativeMethods entity;

    GatewayWatchService(BaseServiceJNIMethods api, JNINativeMethods entity) {
        this.api = api;
        this.entity = entity;
    }

    @Override
    public String loid() {
        return api.sysGetLoid();
    }

    @Override
    public int cpuPercent() {
        String answer = api.sysGetCpuUsage(); // {"Result":0 , "Percent":"3"}
        Matcher m = answer == null ? null : PERCENT.matcher(answer);
        return m != null && m.find() ? Integer.parseInt(m.group(1)) : -1;
    }

    @Override
    public String[] ssids() {
        String answer = api.sysGetWLanInfo(0); // 0: every SSID
        List<String> names = new ArrayList<>();
        if (answer != null) {
            Matcher m = SSID.matcher(answer);
            while (m.find()) {
                names.add(m.group(1) + " (" + m.group(2) + ")");
            }
        }
        return names.toArray(new String[0]);
    }

    @Override
    public String[] discs() {
        String[] lines = api.queryVolumeLabelInfo(); // label;type;mount;total;used;free
        List<String> discs = new ArrayList<>();
        if (lines != null) {
            for (String line : lines) {
                String[] f = line.split(";");
                if (f.length == 6) {
                    discs.add(f[0] + " (" + f[1] + ") at " + f[2] + ", " + f[5] + " bytes free");
                }
            }
        }
        return discs.toArray(new String[0]);
    }

    @Override
    public String deviceMac() {
        return entity.send(1, null);
    }

    @Override
    public String raise(String name, String data) {
        return api.eventInform(name, data);
    }
}

#!/usr/bin/env python3
"""Runs scripts/osgi.sh with the example bundle (Eclipse Equinox, the platform classes exported by
the framework) and checks what the bundle printed, what the USB device got back and what the
gateway's services received, request by request.

    osgi_bundle_test.py --script scripts/osgi.sh --build-dir BUILD --work DIR [--preload LIBS]
"""
import argparse
import json
import os
import re
import shutil
import struct
import subprocess
import sys

FAILURES = []


def check(condition, what):
    if not condition:
        FAILURES.append(what)
        print("FAILED: " + what)


def line_index(lines, pattern):
    """The index of the first line matching the regular expression, or -1."""
    rx = re.compile(pattern)
    for i, line in enumerate(lines):
        if rx.search(line):
            return i
    return -1


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("--script", required=True)
    ap.add_argument("--build-dir", required=True)
    ap.add_argument("--work", required=True)
    ap.add_argument("--preload")
    args = ap.parse_args()

    source = os.path.dirname(os.path.dirname(os.path.abspath(args.script)))
    with open(os.path.join(source, "sim", "profiles", "default.json")) as f:
        profile = json.load(f)["services"]
    loid = profile["app_m"]["loid"]
    mac = profile["tarn"]["ontMac"]
    ssids = ["%s (%s)" % (s["name"], s["band"]) for s in profile["app_m"]["ssids"]]
    disc_names = [d["name"] for d in profile["usb_mngt"]["discs"]]

    # --help answers on standard output with status 0 and starts nothing; an unknown option is a
    # usage error (status 2).
    helped = subprocess.run(["bash", args.script, "--help"], stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                            text=True, timeout=30)
    check(helped.returncode == 0 and "scripts/osgi.sh [options] [BUNDLE.jar...]" in helped.stdout
          and "gatewaysim" not in helped.stderr and "== simulated gateway" not in helped.stdout,
          "osgi.sh --help prints its usage and nothing else")
    wrong = subprocess.run(["bash", args.script, "--no-such-option"], stdout=subprocess.PIPE,
                           stderr=subprocess.PIPE, text=True, timeout=30)
    check(wrong.returncode == 2 and "unknown option --no-such-option" in wrong.stderr,
          "osgi.sh refuses an unknown option with status 2")
    launcher = os.path.join(args.build_dir, "java", "zxosgilauncher.jar")
    launcher_help = subprocess.run(["java", "-cp", launcher + ":/usr/share/java/eclipse-osgi.jar",
                                    "com.zentrix.nodalis.osgi.Launcher", "--help"], stdout=subprocess.PIPE,
                                   stderr=subprocess.PIPE, text=True, timeout=60)
    check(launcher_help.returncode == 0 and "usage: Launcher" in launcher_help.stdout,
          "the launcher's --help: status %d, %r" % (launcher_help.returncode, launcher_help.stdout))

    shutil.rmtree(args.work, ignore_errors=True)
    saved = os.path.join(args.work, "received")
    cmd = ["bash", args.script, "--no-build", "--build-dir", args.build_dir, "--xcheck-jni",
           "--save-received", saved]
    if args.preload:
        cmd += ["--preload", args.preload]
    run = subprocess.run(cmd, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, timeout=240)
    print(run.stdout)
    check(run.returncode == 0, "scripts/osgi.sh ended with status %d" % run.returncode)
    out = run.stdout.splitlines()

    def expect(pattern, what):
        i = line_index(out, pattern)
        check(i >= 0, what + ": no line matching " + pattern)
        return i

    # The framework, and the bundle resolved against the platform classes of the class path.
    expect(r"^\[osgi\] framework org\.eclipse\.osgi 3\.", "Equinox started")
    expect(r"^\[osgi\] system packages from the class path: .*com\.zentrix\.nodalis\.deviceservice\.impl",
           "platform packages exported")
    expect(r"^\[osgi\] started com\.zentrix\.nodalis\.example\.gatewaywatch, state ACTIVE", "bundle active")
    expect(r"^\[gatewaywatch\] starting in org\.eclipse\.osgi .*; platform classes from the class path "
           r"\(system class loader\)$", "platform classes from the system class loader")
    expect(r'^\[gatewaywatch\] JNINativeMethods\.startThread\(\) -> 0 \(on the bus as "jamvm"\)$', "bus link")

    # The gateway's state through the service, as the service event announced it.
    registered = expect(r"^\[gatewaywatch\] service event REGISTERED: GatewayWatch \(service id \d+\)$",
                        "service event")
    expect(r"^\[gatewaywatch\] LOID: " + re.escape(loid) + "$", "LOID")
    expect(r"^\[gatewaywatch\] device MAC: " + re.escape(mac) + "$", "device MAC")
    cpu = expect(r"^\[gatewaywatch\] CPU usage: \d+ %$", "CPU usage")
    if cpu >= 0:
        percent = int(re.search(r"(\d+) %", out[cpu]).group(1))
        check(0 <= percent <= 100, "CPU usage %d is a percentage" % percent)
    expect(r"^\[gatewaywatch\] SSIDs: " + re.escape(", ".join(ssids)) + "$", "SSIDs")
    for name in disc_names:
        expect(r"^\[gatewaywatch\] disc: " + re.escape(name) + r" \(\w+\) at /\S+/mnt/usb\d_1, \d+ bytes free$",
               "disc " + name)
    expect(r'^\[gatewaywatch\] eventInform\("gatewaywatch\.started", .*\) -> \{"Result":0\}$', "start event")

    # USB device 3: owned, opened, the device's line answered.
    expect(r'^\[gatewaywatch\] usbRegister\("com\.zentrix\.nodalis\.example\.gatewaywatch", 2\) -> \{"Result":0\}$',
           "usbRegister")
    expect(r'^\[gatewaywatch\] usbLock\(3\) -> \{"Result":0\}$', "usbLock")
    expect(r'^\[gatewaywatch\] usbOpen\(3\) -> \{"Result":0,"Handle":\d+\}$', "usbOpen")
    got = expect(r'^\[gatewaywatch\] USB device 3 sent "hello gateway"$', "the device's line read")
    expect(r'^\[gatewaywatch\] eventInform\("gatewaywatch\.usb", \{"device":3,"line":"hello gateway"\}\) '
           r'-> \{"Result":0\}$', "USB event")
    reply = "ACK hello gateway LOID %s" % loid
    answered = expect(r'^\[gatewaywatch\] answered USB device 3 with "' + re.escape(reply) +
                      r'" -> \{"Result":0,"Len":%d\}$' % (len(reply) + 2), "answer written")
    expect(r'^== USB device 3 received: "' + re.escape(reply) + '"', "the device side got the answer")

    # The stop on SIGTERM: the device given back, the last event, the service withdrawn.
    stopping = expect(r"^\[osgi\] stopping the framework: the process is asked to end$", "stop on signal")
    order = [registered, got, answered, stopping]
    check(all(i >= 0 for i in order) and order == sorted(order), "order of the run: %s" % order)
    after = out[stopping:] if stopping >= 0 else []
    for pattern in (r'^\[gatewaywatch\] usbClose\(\d+\) -> \{"Result":0\}$',
                    r'^\[gatewaywatch\] usbUnlock\(3\) -> \{"Result":0\}$',
                    r'^\[gatewaywatch\] usbUnregister\("com\.zentrix\.nodalis\.example\.gatewaywatch"\) '
                    r'-> \{"Result":0\}$',
                    r'^\[gatewaywatch\] eventInform\("gatewaywatch\.stopped"\) -> \{"Result":0\}$',
                    r"^\[gatewaywatch\] service event UNREGISTERING: GatewayWatch$",
                    r"^\[gatewaywatch\] stopped$",
                    r"^\[osgi\] framework stopped$"):
        check(line_index(after, pattern) >= 0, "after the stop: no line matching " + pattern)
    check(not any("Exception" in line for line in out), "no exception in the output")

    # What the services received. Commands are named as the wire catalogue names them; simctl
    # lists the catalogue with each command's id.
    listing = subprocess.run([os.path.join(args.build_dir, "bin", "simctl"), "--json", "list"],
                             stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, timeout=60)
    check(listing.returncode == 0, "simctl list: status %d, %s" % (listing.returncode, listing.stderr))
    ids = {c["name"]: c["msgId"] for s in json.loads(listing.stdout or "[]") for c in s["commands"]}

    def id_of(name):
        check(name in ids, "the catalogue names " + name)
        return ids.get(name)

    def records(service):
        with open(os.path.join(saved, service + ".json")) as f:
            answer = json.load(f)
        check(answer.get("ok") is True, service + ": received answered ok")
        return answer.get("records", [])

    usb = records("usb_mngt")
    steps = [id_of(n) for n in ("ZX_USB_RPC_REGISTER", "ZX_USB_RPC_LOCK", "ZX_USB_RPC_OPEN", "ZX_USB_RPC_UNLOCK",
                                "ZX_USB_RPC_UNREGISTER")]
    ownership = [r for r in usb if r["msgId"] in steps]
    check([r["msgId"] for r in ownership] == steps,
          "usb_mngt: register, lock, open, unlock, unregister in that order, got %s"
          % [hex(r["msgId"]) for r in ownership])
    pids = {r["callerPid"] for r in usb}
    check(len(pids) == 1, "usb_mngt: every call from the one JVM, got pids %s" % pids)
    check(all(r["head"]["srcName"] == "jamvm" for r in ownership), "usb_mngt: every call from \"jamvm\"")
    plug = b"com.zentrix.nodalis.example.gatewaywatch"
    if len(ownership) == 5:
        reg = bytes.fromhex(ownership[0]["data"])
        check(len(reg) == 132 and struct.unpack_from("<I", reg, 0)[0] == 2 and reg[4:4 + len(plug) + 1] == plug + b"\0",
              "usb_mngt: register carries type 2 and the plug-in id")
        for r in ownership[1:4]:
            check(bytes.fromhex(r["data"]) == struct.pack("<I", 3), "usb_mngt: 0x%08X names device 3" % r["msgId"])
        unreg = bytes.fromhex(ownership[4]["data"])
        check(unreg[4:4 + len(plug) + 1] == plug + b"\0", "usb_mngt: unregister carries the plug-in id")
    check(any(r["msgId"] == id_of("ZX_USB_RPC_GET_DISC_INFO") for r in usb), "usb_mngt: the disc list was asked")

    events = [r.get("decoded", {}) for r in records("eventcenter") if r["msgId"] == id_of("ZX_EVENT_INFORM")]
    check([e.get("name") for e in events] == ["gatewaywatch.started", "gatewaywatch.usb", "gatewaywatch.stopped"],
          "event centre: started, usb, stopped, got %s" % [e.get("name") for e in events])
    if len(events) == 3:
        check(json.loads(events[0]["data"]) == {"loid": loid, "usbDevice": 3}, "event centre: the start event's data")
        check(json.loads(events[1]["data"]) == {"device": 3, "line": "hello gateway"},
              "event centre: the USB line's data")

    app_m = [r["msgId"] for r in records("app_m")]
    check(app_m.count(id_of("ZX_APPM_RPC_GET_LOID")) == 2, "app_m: the LOID asked twice (report and answer), got %s"
          % [hex(m) for m in app_m])
    tarn = [r["msgId"] for r in records("tarn")]
    check(id_of("ZX_TARN_RPC_GET_ONT_MAC") in tarn, "tarn: the device MAC asked")

    if FAILURES:
        print("%d check(s) failed" % len(FAILURES))
        return 1
    print("all checks passed")
    return 0


if __name__ == "__main__":
    sys.exit(main())

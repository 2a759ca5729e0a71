#!/usr/bin/python3
"""telmon-serve in a real browser: headless Chromium driven by Selenium against telmon-serve
over two simulated I/O servers of the demo site.

  - the devices page of each DAHS shows the texts telmon-check status prints;
  - a device switched to random values changes its row's colour within 3 s, without a reload;
  - at 360x740 the pages need no sideways scrolling (the full-page screenshot is 360 wide), and
    they follow the phone's dark mode;
  - POST, PUT and DELETE answer 405;
  - a non-loopback address without TLS refuses to start;
  - with a token, a page without it answers 401 and the token in the address lets the browser in;
  - with sign-in, five wrong passwords lock the account as in the window.

Exits 77 (skipped) when Chromium, its driver or Selenium is missing. Phone-sized screenshots of
the overview and a devices page are written into the folder given by --screenshots.
"""

import argparse
import base64
import json
import os
import re
import shutil
import signal
import socket
import sqlite3
import struct
import subprocess
import sys
import tempfile
import time
import urllib.error
import urllib.request

SKIP = 77


def skip(why):
    print("SKIP: " + why)
    sys.exit(SKIP)


try:
    from selenium import webdriver
    from selenium.webdriver.chrome.service import Service
    from selenium.webdriver.common.by import By
except ImportError:
    skip("python3-selenium is not installed")


def find(*names):
    for name in names:
        path = shutil.which(name)
        if path:
            return path
    return None


class Processes:
    def __init__(self):
        self.running = []

    def start(self, args, env, log):
        out = open(log, "w")
        process = subprocess.Popen(args, env=env, stdout=out, stderr=subprocess.STDOUT)
        self.running.append(process)
        return process

    def stop(self):
        for process in reversed(self.running):
            if process.poll() is None:
                process.send_signal(signal.SIGTERM)
                try:
                    process.wait(10)
                except subprocess.TimeoutExpired:
                    process.kill()
                    process.wait()


def wait_for(what, condition, seconds):
    deadline = time.monotonic() + seconds
    while time.monotonic() < deadline:
        value = condition()
        if value:
            return value
        time.sleep(0.1)
    raise AssertionError("timed out waiting for " + what)


def log_match(log, pattern):
    try:
        with open(log) as f:
            m = re.search(pattern, f.read())
            return m
    except FileNotFoundError:
        return None


def http(method, url, headers=None):
    request = urllib.request.Request(url, method=method, headers=headers or {},
                                     data=b"x=1" if method in ("POST", "PUT") else None)
    try:
        with urllib.request.urlopen(request, timeout=10) as response:
            return response.status, response.read().decode()
    except urllib.error.HTTPError as e:
        return e.code, e.read().decode()


def png_size(data):
    assert data[:8] == b"\x89PNG\r\n\x1a\n"
    return struct.unpack(">II", data[16:24])


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--serve", required=True)
    parser.add_argument("--iossim", required=True)
    parser.add_argument("--check", required=True)
    parser.add_argument("--site-tool", required=True)
    parser.add_argument("--screenshots", required=True)
    args = parser.parse_args()

    chromium = find("chromium", "chromium-browser")
    driver_path = find("chromedriver")
    if not chromium or not driver_path:
        skip("chromium or chromium-driver is not installed")

    work = tempfile.mkdtemp(prefix="telmon-browser-")
    site = os.path.join(work, "site")
    subprocess.run([args.site_tool, "demo", site], check=True, stdout=subprocess.DEVNULL)
    env = dict(os.environ, HALVO5_SYSTEM_FOLDER=site, TELMON_IOS_HOST="127.0.0.1",
               XDG_DATA_HOME=os.path.join(work, "data"))
    env.pop("QT_QPA_PLATFORM", None)
    processes = Processes()
    failures = []

    def check(condition, text):
        if not condition:
            failures.append(text)
            print("FAIL: " + text)

    try:
        sims = {}
        for dahs in (1, 2):
            log = os.path.join(work, "iossim%d.log" % dahs)
            processes.start([args.iossim, "--dahs", str(dahs), "--port", "0", "--seed", "30"],
                            env, log)
            port = int(wait_for("the simulator of DAHS %d" % dahs,
                                lambda: log_match(log, r"listening on [\d.]+:(\d+)"), 30).group(1))
            sims[dahs] = port
            # DAHS n listens on the looked-up port + n - 1.
            db = sqlite3.connect(os.path.join(site, "dahs%d.sqlite" % dahs))
            db.execute("UPDATE H5LOOKUP SET lookupvalue = ? WHERE lookupkey = "
                       "'IOS:TcpListenPortForMonitorConnections'", (str(port - (dahs - 1)),))
            db.commit()
            db.close()

        # Away from the loopback without TLS: refused before anything starts.
        refused = subprocess.run([args.serve, "--listen", "0.0.0.0", "--port", "0"], env=env,
                                 capture_output=True, text=True, timeout=30)
        check(refused.returncode == 2 and "refusing to serve on 0.0.0.0 without TLS"
              in refused.stderr, "a non-loopback bind without TLS did not refuse to start: %d %s"
              % (refused.returncode, refused.stderr))

        serve_log = os.path.join(work, "serve.log")
        processes.start([args.serve, "--port", "0"], env, serve_log)
        base = "http://127.0.0.1:%s" % wait_for(
            "telmon-serve", lambda: log_match(serve_log, r"serving http://127\.0\.0\.1:(\d+)/"),
            30).group(1)

        def metric(name):
            status, text = http("GET", base + "/metrics")
            m = re.search("^" + re.escape(name) + r" (\S+)$", text, re.M)
            return m and float(m.group(1))

        for dahs in (1, 2):
            wait_for("DAHS %d's devices" % dahs,
                     lambda: metric('telmon_devices{dahs="%d",state="all"}' % dahs) == 7, 60)

        for method in ("POST", "PUT", "DELETE"):
            for path in ("/", "/dahs/1/devices", "/metrics"):
                status, _ = http(method, base + path)
                check(status == 405, "%s %s answered %d, not 405" % (method, path, status))

        options = webdriver.ChromeOptions()
        options.binary_location = chromium
        for flag in ("--headless=new", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage",
                     "--hide-scrollbars=false", "--window-size=360,740"):
            options.add_argument(flag)
        browser = webdriver.Chrome(service=Service(driver_path), options=options)
        try:
            browser.execute_cdp_cmd("Emulation.setDeviceMetricsOverride", {
                "width": 360, "height": 740, "deviceScaleFactor": 1, "mobile": False})

            # Read in one step: the event stream may replace the content between two reads.
            def table():
                return browser.execute_script(
                    "var m = document.querySelector('main');"
                    "return [Array.from(m.querySelectorAll('thead th'), e => e.textContent),"
                    " Array.from(m.querySelectorAll('tbody tr'),"
                    "  r => Array.from(r.querySelectorAll('td'), e => e.textContent))];")

            for dahs in (1, 2):
                status = subprocess.run(
                    [args.check, "/DAHSID=%d" % dahs, "status", "--json"], env=env,
                    capture_output=True, text=True, timeout=90)
                check(status.returncode == 0, "telmon-check status failed: " + status.stderr)
                expected = json.loads(status.stdout)["devices"] if status.returncode == 0 else []
                browser.get(base + "/dahs/%d/devices" % dahs)
                names, rows = table()
                shown = [dict(zip(names, row)) for row in rows]
                # Every event carries the device's clock, so that column moves between the two
                # reads; every other text must be the same.
                for rows in (expected, shown):
                    for row in rows:
                        row.pop("Recent Clock", None)
                check(shown == expected, "DAHS %d devices page %s != telmon-check status %s"
                      % (dahs, shown, expected))

            # Phone-sized: no sideways scrolling, checked on full-page screenshots.
            os.makedirs(args.screenshots, exist_ok=True)
            for name, path in (("serve-overview-phone.png", "/"),
                               ("serve-devices-phone.png", "/dahs/1/devices")):
                browser.get(base + path)
                time.sleep(0.5)
                shot = browser.execute_cdp_cmd("Page.captureScreenshot", {
                    "format": "png", "captureBeyondViewport": True})
                data = base64.b64decode(shot["data"])
                with open(os.path.join(args.screenshots, name), "wb") as f:
                    f.write(data)
                width, _ = png_size(data)
                scroll = browser.execute_script(
                    "return [document.documentElement.scrollWidth, "
                    "document.documentElement.clientWidth]")
                check(width == 360 and scroll[0] <= scroll[1],
                      "%s is wider than the phone: screenshot %d px, scrollWidth %d, "
                      "clientWidth %d" % (path, width, scroll[0], scroll[1]))

            # The phone's dark mode: dark page, light text, the fault colour lightened.
            browser.execute_cdp_cmd("Emulation.setEmulatedMedia", {
                "features": [{"name": "prefers-color-scheme", "value": "dark"}]})
            browser.get(base + "/dahs/1/blocks")
            time.sleep(0.5)
            background, fault = browser.execute_script(
                "var f = document.querySelector('main tr.fault');"
                "return [getComputedStyle(document.body).backgroundColor,"
                " f ? getComputedStyle(f).color : ''];")
            check(background == "rgb(22, 22, 22)" and fault == "rgb(255, 107, 107)",
                  "dark mode not followed: background %s, fault row %s" % (background, fault))
            shot = browser.execute_cdp_cmd("Page.captureScreenshot", {"format": "png"})
            with open(os.path.join(args.screenshots, "serve-blocks-phone-dark.png"), "wb") as f:
                f.write(base64.b64decode(shot["data"]))
            browser.execute_cdp_cmd("Emulation.setEmulatedMedia", {
                "features": [{"name": "prefers-color-scheme", "value": "light"}]})

            # Random values: the row's colour follows within 3 s, without a reload.
            browser.get(base + "/dahs/1/devices")
            row_css = 'main tr[data-key="1K"]'
            before = browser.find_element(By.CSS_SELECTOR, row_css).value_of_css_property("color")
            browser.execute_script("window.telmonMarker = 42;")
            with socket.create_connection(("127.0.0.1", sims[1]), timeout=10) as link:
                link.sendall(b'<Command action="SetDeviceToRandomMode" id="1" value="1"/>')
                started = time.monotonic()
                changed = None
                while time.monotonic() - started < 3.0:
                    color, tone = browser.execute_script(
                        "var r = document.querySelector(arguments[0]);"
                        "return r ? [getComputedStyle(r).color, r.className] : ['', ''];",
                        row_css)
                    if color != before and tone == "random":
                        changed = time.monotonic() - started
                        break
                    time.sleep(0.05)
                check(changed is not None, "device 1's row did not change colour within 3 s")
                check(browser.execute_script("return window.telmonMarker") == 42,
                      "the page was reloaded")
                if changed is not None:
                    print("row colour changed after %.2f s" % changed)
        finally:
            browser.quit()

        # With a token: 401 without it; the token in the address once, then the cookie.
        token_file = os.path.join(work, "token")
        with open(token_file, "w") as f:
            f.write("browser-test-token-0123456789\n")
        token_log = os.path.join(work, "serve-token.log")
        processes.start([args.serve, "--port", "0", "--token-file", token_file], env, token_log)
        token_base = "http://127.0.0.1:%s" % wait_for(
            "telmon-serve with a token",
            lambda: log_match(token_log, r"serving http://127\.0\.0\.1:(\d+)/"), 30).group(1)
        for path in ("/", "/dahs/1/devices", "/metrics"):
            status, _ = http("GET", token_base + path)
            check(status == 401, "GET %s without the token answered %d, not 401" % (path, status))
        browser = webdriver.Chrome(service=Service(driver_path), options=options)
        try:
            browser.get(token_base + "/dahs/2/devices?token=browser-test-token-0123456789")
            check(browser.current_url == token_base + "/dahs/2/devices",
                  "the token stayed in the address: " + browser.current_url)
            check("DAHS 2" in browser.title, "the token did not let the browser in: "
                  + browser.title)
            browser.get(token_base + "/")
            check("Site overview" in browser.title, "the cookie did not keep the browser in")
        finally:
            browser.quit()

        # Sign-in with a site account: the window's privilege service and its lockout.
        login_log = os.path.join(work, "serve-login.log")
        processes.start([args.serve, "--port", "0", "--login"], env, login_log)
        login_base = "http://127.0.0.1:%s" % wait_for(
            "telmon-serve with sign-in",
            lambda: log_match(login_log, r"serving http://127\.0\.0\.1:(\d+)/"), 30).group(1)

        def basic(account, password):
            token = base64.b64encode(("%s:%s" % (account, password)).encode()).decode()
            return {"Authorization": "Basic " + token}

        status, _ = http("GET", login_base + "/")
        check(status == 401, "a page without a sign-in answered %d" % status)
        for attempt in range(5):
            status, text = http("GET", login_base + "/", basic("tech", "wrong%d" % attempt))
            check(status == 401 and "password is wrong" in text,
                  "wrong password %d: %d %s" % (attempt + 1, status, text))
        status, text = http("GET", login_base + "/", basic("tech", "tech-demo"))
        check(status == 401 and "is locked after repeated wrong passwords" in text,
              "five wrong passwords did not lock the account: %d %s" % (status, text))
        status, text = http("GET", login_base + "/", basic("super", "super-demo"))
        check(status == 200 and "Site overview" in text,
              "another account could not sign in: %d" % status)
    finally:
        processes.stop()
        if not failures:
            shutil.rmtree(work, ignore_errors=True)
        else:
            print("kept the logs in " + work)

    if failures:
        print("%d check(s) failed" % len(failures))
        return 1
    print("all browser checks passed")
    return 0


if __name__ == "__main__":
    sys.exit(main())

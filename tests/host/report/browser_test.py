#!/usr/bin/env python3
"""Looks at report pages in a headless Chromium: browser_test.py XYL [FOLDER]. FOLDER receives pictures of them."""
import base64
import json
import os
import subprocess
import sys
import tempfile

XYL = os.path.abspath(sys.argv[1])
PICTURES = os.path.abspath(sys.argv[2]) if len(sys.argv) > 2 else None
WIDE, PHONE, LOW = (1280, 900), (360, 740), (1000, 320)
faults = []


def check(fine, page, what):
    if not fine:
        faults.append(f"{page}: {what}")


# The lowest contrast of every text with what lies behind it, and the place of the worst one.
CONTRAST = r"""(() => {
  const numbers = colour => { const n = colour.match(/[\d.]+/g).map(Number); return n.length < 4 ? [...n, 1] : n; };
  const over = (top, below) => [0, 1, 2].map(i => top[i] * top[3] + below[i] * (1 - top[3])).concat(1);
  const light = c => { const l = c.slice(0, 3).map(v => (v /= 255) <= .03928 ? v / 12.92 : ((v + .055) / 1.055) ** 2.4);
    return .2126 * l[0] + .7152 * l[1] + .0722 * l[2]; };
  const backs = node => { const layers = [];
    for (let at = node; at; at = at.parentElement) {
      const style = getComputedStyle(at), hatch = style.backgroundImage.match(/rgba?\([^)]*\)/g) || [];
      layers.unshift({ plain: numbers(style.backgroundColor), hatch: hatch.map(numbers) }); }
    let found = [[255, 255, 255, 1]];
    for (const layer of layers) {
      found = found.map(back => over(layer.plain, back));
      found = found.concat(...layer.hatch.map(colour => found.map(back => over(colour, back)))); }
    return found; };
  let worst = { ratio: 99 }, texts = 0;
  for (const node of document.body.querySelectorAll('*')) {
    const own = [...node.childNodes].some(child => child.nodeType === 3 && child.textContent.trim());
    if (!own || ['STYLE', 'SCRIPT'].includes(node.tagName)) continue;
    ++texts;
    const style = getComputedStyle(node);
    for (const back of backs(node)) {
      const a = light(over(numbers(style.color), back)), b = light(back);
      const ratio = (Math.max(a, b) + .05) / (Math.min(a, b) + .05);
      if (ratio < worst.ratio) worst = { ratio, text: node.textContent.slice(0, 30), where: node.className || node.tagName };
    } }
  return { ...worst, texts }; })()"""
ALL_SLOTS = "[...document.querySelectorAll('a.slot')].map(a => a.getAttribute('aria-label'))"
FOCUS = """(() => { const at = document.activeElement, box = at.getBoundingClientRect();
  const cards = [...document.querySelectorAll('.card')].filter(c => getComputedStyle(c).visibility === 'visible');
  return { tag: at.tagName, link: at.getAttribute('href'), slot: at.matches('a.slot') ? at.getAttribute('aria-label') : '',
    cards: cards.length, card: cards.length ? cards[0].textContent : '',
    hidden: cards.length ? box.bottom > cards[0].getBoundingClientRect().top : false,
    outline: getComputedStyle(at).outlineStyle }; })()"""


class Browser:
    """Chromium's own protocol over a pair of pipes."""

    def __init__(self, folder):
        command_read, self.to_browser = os.pipe()
        self.from_browser, answer_write = os.pipe()
        os.set_inheritable(command_read, True)
        os.set_inheritable(answer_write, True)
        line = (f"exec chromium --headless --no-sandbox --disable-gpu --remote-debugging-pipe --user-data-dir={folder} "
                f"3<&{command_read} 4>&{answer_write} 2>/dev/null")
        # A shell of its own, since the browser wants its pipes at the numbers 3 and 4.
        self.process = subprocess.Popen(["bash", "-c", line], pass_fds=(command_read, answer_write))
        os.close(command_read)
        os.close(answer_write)
        self.rest, self.events, self.number, self.session = b"", [], 0, None
        target = self.call("Target.createTarget", url="about:blank")["targetId"]
        self.session = self.call("Target.attachToTarget", targetId=target, flatten=True)["sessionId"]
        for domain in ("Page", "Runtime", "Log", "Network", "Accessibility"):
            self.call(domain + ".enable")

    def read(self):
        while b"\0" not in self.rest:
            part = os.read(self.from_browser, 1 << 20)
            if not part:
                raise EOFError("the browser ended")
            self.rest += part
        message, self.rest = self.rest.split(b"\0", 1)
        return json.loads(message)

    def call(self, method, **parameters):
        self.number += 1
        message = {"id": self.number, "method": method, "params": parameters}
        if self.session:
            message["sessionId"] = self.session
        os.write(self.to_browser, json.dumps(message).encode() + b"\0")
        while True:
            answer = self.read()
            if answer.get("id") == self.number:
                if "error" in answer:
                    raise RuntimeError(f"{method}: {answer['error']}")
                return answer["result"]
            self.events.append(answer)

    def value(self, expression):
        return self.call("Runtime.evaluate", expression=expression, returnByValue=True)["result"].get("value")

    def load(self, path, size=WIDE, scheme="light"):
        self.call("Emulation.setDeviceMetricsOverride", width=size[0], height=size[1], deviceScaleFactor=1,
                  mobile=size == PHONE)
        self.call("Emulation.setEmulatedMedia", features=[{"name": "prefers-color-scheme", "value": scheme}])
        self.events = []
        self.call("Page.navigate", url="file://" + path)
        while not any(event["method"] == "Page.loadEventFired" for event in self.events):
            self.events.append(self.read())

    def key(self, name, code, text=""):
        for kind in ("keyDown", "keyUp"):
            self.call("Input.dispatchKeyEvent", type=kind, key=name, code=name, windowsVirtualKeyCode=code, text=text)

    def picture(self, name):
        if PICTURES:
            height = min(self.value("document.documentElement.scrollHeight"), 4000)
            clip = {"x": 0, "y": 0, "width": self.value("innerWidth"), "height": height, "scale": 1}
            data = self.call("Page.captureScreenshot", clip=clip, captureBeyondViewport=True)["data"]
            with open(os.path.join(PICTURES, name + ".png"), "wb") as file:
                file.write(base64.b64decode(data))


def look(browser, page):
    """The page in both schemes and widths."""
    name = os.path.basename(page)
    colours = {}
    for scheme in ("light", "dark"):
        for size in (WIDE, (840, 900), PHONE):
            where = f"{name}, {scheme}, {size[0]} wide"
            browser.load(page, size, scheme)
            for event in browser.events:
                said = event["method"] in ("Log.entryAdded", "Runtime.exceptionThrown", "Runtime.consoleAPICalled")
                check(not said, where, f"the console says {event}")
                url = event["params"].get("request", {}).get("url", "file:")
                check(url.startswith(("file:", "data:")), where, f"the network is asked for {url}")
            width = browser.value("document.documentElement.scrollWidth")
            check(width <= size[0], where, f"the page is {width} wide")
            worst = browser.value(CONTRAST)
            check(worst["texts"] > 50 and worst["ratio"] >= 4.5, where, f"contrast {worst}")
            browser.picture(f"{name}-{scheme}-{size[0]}")
        colours[scheme] = browser.value("[getComputedStyle(document.body).color, "
                                        "getComputedStyle(document.body).backgroundColor].join()")
    check(colours["light"] != colours["dark"], name, "dark mode looks as light mode does")


def print_out(browser, page):
    """The page on paper, where a border on the edge of the printed area is cut."""
    browser.load(page, (690, 1000))
    browser.call("Emulation.setEmulatedMedia", media="print")
    edges = browser.value("""[...document.querySelectorAll("table, .facts, .call, .enclosure")]
        .map(box => box.getBoundingClientRect()).map(box => Math.min(box.left, innerWidth - box.right))""")
    check(edges and min(edges) >= 1, page, f"a box reaches the edge of the paper: {edges}")
    browser.call("Emulation.setEmulatedMedia", media="")


def walk(browser, page):
    """The page by keyboard."""
    browser.load(page, LOW)
    slots, reached, first = browser.value(ALL_SLOTS), [], None
    for _ in range(2000):
        browser.key("Tab", 9)
        focus = browser.value(FOCUS)
        first = first or focus["link"]
        if focus["tag"] == "BODY":
            break
        check(focus["outline"] != "none", page, f"no outline on {focus}")
        if focus["slot"]:
            reached.append(focus["slot"])
            check(focus["cards"] == 1 and focus["card"] == focus["slot"], page, f"the bar shows another slot: {focus}")
            check(not focus["hidden"], page, f"the bar hides its slot: {focus}")
    else:
        check(False, page, "the keyboard does not get out of the page")
    check(first == "#content", page, f"the first stop is {first} and not the skip link")
    check(slots and reached == slots, page, f"reached {len(reached)} of {len(slots)} slots")
    browser.value("document.querySelector('a.slot').focus()")
    browser.key("Enter", 13, "\r")
    target = browser.value("document.querySelector('tr:target') && document.querySelector('tr:target').textContent")
    check(target and "301:0" in target, page, f"Enter on the first slot leads to {target}")


def listen(browser, page):
    """The page as a screen reader gets it."""
    browser.load(page, PHONE)
    nodes = browser.call("Accessibility.getFullAXTree")["nodes"]
    roles = [(node["role"]["value"], node.get("name", {}).get("value", "")) for node in nodes if not node["ignored"]]
    kinds = [role for role, _ in roles]
    for role in ("banner", "navigation", "main", "contentinfo", "region", "columnheader", "rowheader", "cell"):
        check(role in kinds, page, f"no {role} in the accessibility tree")
    for role in ("table", "region", "link", "heading", "navigation"):
        check(all(name for kind, name in roles if kind == role), page, f"a {role} without a name")
    check(("link", "Slot 0: Online, in A System, 600.12\u00a0GB SAS HDD, HARRIER HS10K Enterprise, serial number "
           "HS000003E9, disk 1001") in roles, page, f"slot 0 is called {[r for r in roles if 'Slot 0' in r[1]]}")


def main(folder):
    def xyl(line, codes=(0,)):
        assert subprocess.run([XYL, *line.split()], cwd=folder, capture_output=True).returncode in codes, line

    def page(arguments, name):
        xyl(f"report {arguments} -o {name}.html")
        return os.path.join(folder, name + ".html")

    pages = [page("--preset " + preset, preset) for preset in ("demo", "large", "direct", "empty")]
    xyl("sim new --preset demo box.json")
    xyl("get --controller box.json -o saved.xml")
    for step in ("fail box.json 302:1", "pull box.json 1003", "foreign box.json 1 1009 1010",
                 "replace-disk box.json 302:7", "insert box.json new 302:10"):
        xyl("sim " + step)
    xyl("get --controller box.json -o now.xml")
    xyl("restore saved.xml --rebuild --partial --no-backup --yes --controller box.json --log-file log.xml", (1,))
    pages += [page("saved.xml now.xml", "diff"), page("saved.xml log.xml", "log")]
    browser = Browser(os.path.join(folder, "profile"))
    try:
        for each in pages:
            look(browser, each)
            print_out(browser, each)
        walk(browser, pages[0])
        walk(browser, pages[-2])
        listen(browser, pages[0])
        if PICTURES:
            browser.load(pages[0])
            browser.value("document.querySelectorAll('a.slot')[3].focus()")
            browser.key("Tab", 9)
            browser.picture("focus")
            with open(os.path.join(PICTURES, "demo.pdf"), "wb") as file:
                file.write(base64.b64decode(browser.call("Page.printToPDF")["data"]))
        browser.call("Browser.close")
    finally:
        browser.process.wait(20)


with tempfile.TemporaryDirectory(ignore_cleanup_errors=True) as place:
    main(place)
print("\n".join(faults) or "the pages look right")
sys.exit(1 if faults else 0)

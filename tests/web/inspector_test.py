"""The inspector's page in a browser, with a real server and a real client."""

import http.client
import re
import unittest
import urllib.request
from urllib.parse import urlsplit

from selenium.webdriver.common.keys import Keys

from browser import Browser
from fixture import SERVICE, block, counted, kesu, kesu_server, post, reply

PATH = "/m/appreq/cllDovi"
HEARD = ("--cell", "1,1,1,1001,-71", "--wifi", "00-00-5E-00-53-01,-60", "--wifi", "00-00-5E-00-53-02,-66")
HOSTILE = "</script><img src=x onerror=hacked=1><script>hacked=1</script>"
ROWS, CHOSEN = "#list .row", "#list .row.chosen"
MARKED = "#request .hex .row > .marked[data-at]"


def send(url, *bodies):
    connection = http.client.HTTPConnection(urlsplit(url).netloc)
    for body in bodies:
        connection.request("POST", PATH, body, {"Content-Type": "application/binary"})
        connection.getresponse().read()
    connection.close()


class Inspector(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.browser = Browser()
        cls.addClassCleanup(cls.browser.close)

    def setUp(self):
        server = kesu_server("--inspect")
        self.url, self.end = server.__enter__()
        self.addCleanup(server.__exit__, None, None, None)
        # Before the server ends, which the page would complain of.
        self.addCleanup(self.browser.open, "about:blank")
        self.browser.prefer("light")
        self.browser.asked()
        self.browser.open(f"{self.url}/inspect")
        self.browser.find("#state", "live")

    def tearDown(self):
        self.assertEqual(self.browser.complaints(), [])
        self.assertLessEqual(self.browser.asked(), {("http", urlsplit(self.url).netloc), ("data", ""), ("about", "")})

    def ask(self, *words):
        self.assertEqual(kesu(*words, server=self.url).returncode, 0)

    def look(self):
        """Asks a lookup and a reverse geocode, and waits for them."""
        self.ask("locate", *HEARD, "--next", *HEARD, "--gps", "38.7172,-9.1352,12")
        self.browser.find(CHOSEN, "#1")
        self.ask("reverse", "38.7167,-9.1333")
        self.browser.find(CHOSEN, "#2")
        self.browser.find("#request .tree .row", "payload")

    def marked(self, selector=MARKED):
        return bytes.fromhex("".join(self.browser.run(
            "return [...document.querySelectorAll(arguments[0])].map((it) => it.textContent)", selector)))

    def test_what_is_asked_appears_and_unfolds(self):
        browser = self.browser
        self.look()
        self.assertEqual(browser.count(ROWS), 2)
        browser.find("#said li", "point asked about 38.71670, -9.13330")
        browser.find("#said li", "Lisbon, Portugal (place and country)")
        browser.find(ROWS, "#1").click()
        self.assertRegex(browser.texts(ROWS)[0], r"(?s)200.* ms.*2 requests · g:loc/ql · \d+ B → \d+ B")
        browser.find("#title", "POST 1")
        for selector, text in (("#request .tree .row", "client version kesu,"), ("#reply .tree .row", "status 200")):
            browser.find(selector, text)
        buttons = browser.find("#maps", "Lookup").text.splitlines()
        self.assertEqual(buttons, ["All", "Lookup, request 0", "Lookup, request 1"])
        browser.find("#maps button", "request 1").click()
        browser.find("#said li", "own fix 38.71720, -9.13520 within 12 m")
        self.assertRegex(browser.find("#said").text, r"\d+ m between estimate and fix\n(.*\n)*.*wifi 00.00.5e.00.53.01")
        self.assertEqual(set(browser.texts(".map-legend li")), {"estimate", "own fix", "feature", "wifi access point", "cell"})
        self.assertGreater(browser.painted(".pane-areas"), 10_000)
        self.assertGreater(browser.painted(".pane-dots"), 100)

    def test_fields_and_bytes_belong_together(self):
        browser = self.browser
        self.look()
        version = browser.find("#request .tree .row", "client version")
        text = version.text.split("client version ")[1].encode()
        browser.point_at(version)
        browser.until(lambda: self.marked() == counted(text), "the bytes of the field under the pointer")
        browser.picture("pointed")
        browser.point_at(browser.find("#request .hex .row span[data-at='0']"))
        browser.until(lambda: self.marked() == b"\0\1", "the bytes of the field that has the byte under the pointer")
        self.assertIn("protocol version", browser.find("#request .tree .marked").text)
        self.assertIn("protocol version = 1", browser.find("#request .where").text)
        # Where the pointer leaves, nothing is marked any more.
        browser.point_at(browser.find("#title"))
        browser.until(lambda: self.marked() == b"")

    def test_keyboard(self):
        browser = self.browser
        self.look()
        browser.run("document.activeElement.blur()")
        seen = []
        while not seen or seen[-1] != "Reply: fields":
            browser.press(Keys.TAB)
            seen.append(browser.focused())
            self.assertLess(len(seen), 40, seen)
            if seen[-1] == "list":
                browser.press(Keys.ARROW_UP)
                browser.find("#title", "POST 1")
            if seen[-1] == "Request: fields":
                browser.press(Keys.HOME, Keys.ARROW_DOWN, Keys.ARROW_RIGHT)
                browser.find("#request .tree .row.active", "client version")
                browser.until(lambda: b"kesu," in self.marked())
                browser.press(Keys.ARROW_LEFT, Keys.ARROW_LEFT)
                folded = browser.find("#request .tree [aria-expanded=false]", "header block")
                self.assertEqual(browser.find("#request .tree").get_attribute("aria-activedescendant"), folded.get_attribute("id"))
            if seen[-1].startswith("Request: bytes"):
                browser.press(Keys.HOME, Keys.ARROW_RIGHT, Keys.ARROW_RIGHT, Keys.ARROW_RIGHT)
                browser.find("#request .where", "byte 3, in 2–")
        order = ["filter", "pause", "list", "maps"]
        self.assertEqual([it for it in seen if it in order], [it for it in order if it in seen])
        # All that takes the focus says what it is.
        self.assertNotIn(None, seen)
        roles = browser.run("return [...document.querySelectorAll('[tabindex=\"0\"], input, button, a')]"
                            ".filter((it) => !(it.getAttribute('aria-label') || it.ariaLabelledByElements?.length"
                            " || it.getAttribute('aria-labelledby') || it.textContent)).length")
        self.assertEqual(roles, 0)

    def test_filter_and_pause(self):
        browser = self.browser
        self.look()
        send(self.url, b"")
        browser.find(ROWS, "#3")
        for words, ids in (("status:400", [3]), ("G:LOC #2", [2]), ("status:200", [1, 2]), ("nonsense", []), ("", [1, 2, 3])):
            field = browser.find("#filter")
            field.clear()
            field.send_keys(words or "x", *([] if words else [Keys.BACKSPACE]))
            browser.until(lambda: [int(text.split()[0][1:]) for text in browser.texts(ROWS)] == ids, words)
        browser.find("#pause").click()
        self.ask("locate", *HEARD)
        browser.find("#pause", "Go on (1 new)")
        self.assertEqual((browser.count(ROWS), browser.find("#state").text), (3, "paused"))
        browser.find("#pause").click()
        browser.find(ROWS, "#4")

    def test_saved_is_what_was_sent(self):
        body = post((SERVICE, False, b"\x08\1\xff"))
        send(self.url, body)
        link = self.browser.find("#request .body-head a[href*=posts]")
        with urllib.request.urlopen(link.get_attribute("href")) as saved:
            self.assertEqual(saved.read(), body)
            self.assertIn("attachment", saved.headers["Content-Disposition"])

    def test_hostile_texts_stay_texts(self):
        browser = self.browser
        name = HOSTILE.encode()
        header = block(1, counted(name) + bytes(8) + counted(b""))
        request = block(0x0100, b"\0\7" + counted(name) + b"\0\1" + counted(b"\x0a" + bytes([len(name)]) + name, 4))
        send(self.url, reply(header, request))
        browser.find("#request .tree .row", HOSTILE)
        browser.point_at(browser.find("#request .tree .row", HOSTILE))
        browser.find("#request .where", HOSTILE[:20])
        browser.find(ROWS, HOSTILE)
        self.assertEqual(browser.count("main script, main img"), 0)
        self.assertEqual(browser.run("return typeof hacked"), "undefined")

    def test_many_and_large(self):
        browser = self.browser
        send(self.url, *[post((b"http:echo", False, b""))] * 1200)
        browser.until(lambda: re.match("1,000 POSTs", browser.find("#count").text))
        browser.find(ROWS, "#1200")
        self.assertEqual(browser.find(ROWS, "#1200").get_attribute("aria-setsize"), "1000")
        header = block(1, counted(b"t") + bytes(8) + counted(b""))
        # As long as a body may be.
        filling = bytes((1 << 20) - 2 - len(header) - 6)
        send(self.url, reply(header, block(0x7777, filling)))
        browser.find("#request .body-head", "1,048,576 bytes")
        browser.find("#request .hex").click()
        browser.press(Keys.END)
        browser.find("#request .hex .row.active", "0ffff0")
        self.assertLess(browser.count("*"), 6000)

    def test_comes_back_with_the_server(self):
        browser = self.browser
        self.look()
        port = urlsplit(self.url).port
        self.end()
        browser.find("#state", "connection lost")
        browser.complaints()
        with kesu_server("--inspect", "--port", str(port)):
            browser.find("#state", "live")
            self.ask("locate", *HEARD)
            browser.find(CHOSEN, "#1")
            browser.until(lambda: browser.count(ROWS) == 1)
            browser.complaints()
            browser.open("about:blank")

    def test_light_and_dark(self):
        browser = self.browser
        self.ask("locate", *HEARD, "--wifi", "00-00-5E-00-53-03,-70", "--gps", "38.7183,-9.1358,15")
        browser.find(CHOSEN, "#1")
        self.ask("reverse", "38.7167,-9.1333")
        browser.find(ROWS, "#2")
        browser.find(ROWS, "#1").click()
        browser.find("#maps", "Lookup")
        browser.find("#request .tree .row", "service g:loc/ql").click()
        browser.point_at(browser.find("#title"))
        colours = set()
        for scheme in ("light", "dark"):
            browser.prefer(scheme)
            browser.picture(f"inspector-{scheme}")
            colours.add(browser.run("return getComputedStyle(document.body).backgroundColor"))
        self.assertEqual(len(colours), 2)


if __name__ == "__main__":
    unittest.main()

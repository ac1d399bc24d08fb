"""The page of kesu --map in a browser, from a file."""

import tempfile
import unittest

from selenium.webdriver.common.keys import Keys

from browser import Browser
from fixture import Reply, answer, http, kesu, kesu_server, nested, number, place, reply, serving

HOSTILE = "</script><img src=x onerror=hacked=1><script>hacked=1</script>"


class Answers(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.browser = Browser()
        cls.addClassCleanup(cls.browser.close)

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.path = f"{folder.name}/answers.html"
        self.browser.asked()

    def open(self):
        self.browser.open(f"file://{self.path}")
        self.browser.find("#count", "answer")

    def tearDown(self):
        self.assertEqual(self.browser.complaints(), [])
        self.assertLessEqual(self.browser.asked(), {("file", ""), ("data", ""), ("about", "")})

    def test_estimate_and_fix(self):
        found = number(1, 0) + nested(2, place((52.52, 13.405), number(3, 400), field=2))
        with serving(Reply(http(reply(answer(0, found))))) as server:
            kesu("locate", "--gps", "52.5212,13.4064,50", "--map", self.path, server=server.url)
        self.open()
        self.browser.find("#list .row", "estimate 52.52000, 13.40500 within 400 m").click()
        # Of a sphere: 0.0012 degrees of latitude are 133.4 m, 0.0014 of longitude at 52.52 degrees 94.7 m.
        self.browser.find("#chosen li", "164 m between estimate and fix")
        self.assertGreater(self.browser.painted(".pane-areas"), 10_000)
        self.browser.picture("answers-one")

    def test_ten_thousand(self):
        points = "".join(f"{i % 140 - 70}.5,{i % 359 - 179}.25\n" for i in range(10_000))
        with kesu_server() as (url, _):
            kesu("reverse", "-", "--map", self.path, server=url, text=points.encode())
        self.open()
        browser = self.browser
        browser.find("#count", "10,000 answers")
        browser.picture("answers-many")
        browser.find("#list").click()
        browser.press(Keys.END)
        browser.find("#list .row.active", "line 10000: ")
        browser.find("#chosen h2", "line 10000: ")
        self.assertLess(browser.count("*"), 1000)
        browser.find("#filter").send_keys("lisbon,")
        browser.find("#count", " of 10,000 answers")
        browser.find("#list .row", "Lisbon, Portugal")

    def test_hostile_names_stay_texts(self):
        named = number(1, 0) + nested(2, place((0, 0), nested(5, nested(1, HOSTILE.encode())), field=2))
        with serving(Reply(http(reply(answer(0, named))))) as server:
            kesu("reverse", "1,2", "--map", self.path, server=server.url)
        self.open()
        self.browser.find("#list .row", HOSTILE).click()
        self.browser.find("#chosen li", HOSTILE)
        self.assertEqual(self.browser.count("main script, main img"), 0)
        self.assertEqual(self.browser.run("return typeof hacked"), "undefined")


if __name__ == "__main__":
    unittest.main()

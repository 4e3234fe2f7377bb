import unittest

import common
from common import EXPECTED, HEADER_LINES, call

TOOL = common.load("strict-cggtts")
GPS = EXPECTED["G"].name


class StrictCggtts(common.ToolTest):
    def strict(self, *words, status=0):
        result = call(TOOL, *words, "-o", self.folder / "new" / "out")
        self.assertEqual((result.status, result.stdout), (status, ""), result.stderr)
        self.messages = result.stderr
        return {path.name: path.read_bytes() for path in (self.folder / "new" / "out").iterdir()}

    def test_header_to_the_letter_and_data_untouched(self):
        for name, text in self.strict(*EXPECTED.values()).items():
            before = EXPECTED[name[0]].read_bytes()
            self.assertEqual(text[text.index(b"\nSAT"):], before[before.index(b"\nSAT"):])
            old, new = (t.decode().split("\n")[:17] for t in (before, text))
            self.assertEqual(new[0], "CGGTTS     GENERIC DATA FORMAT VERSION = 2E")
            self.assertRegex(new[11], r"^INT DLY = 0\.0 ns \([\w ]+\), 0\.0 ns \([\w ]+\)     CAL_ID = NONE$")
            self.assertEqual([line for i, line in enumerate(new) if i not in (0, 11, 15)],
                             [line for i, line in enumerate(old) if i not in (0, 11, 15)])
            upto = text[:text.index(b"CKSUM = ") + 8].replace(b"\n", b"")
            self.assertEqual(new[15], f"CKSUM = {sum(upto) % 256:02X}")

    def test_other_files(self):
        path = self.folder / GPS
        before = EXPECTED["G"].read_bytes().replace(b"\n", b"\r\n") + b"\xff\x00 rest"
        path.write_bytes(before)
        after = self.strict(path)[GPS]
        self.assertEqual(after[after.index(b"\r\nSAT"):], before[before.index(b"\r\nSAT"):])
        self.assertNotIn(b"\n", after[:after.index(b"SAT")].replace(b"\r\n", b""))
        path.write_bytes(after)
        self.assertEqual(self.strict(path)[GPS], after)
        one_delay = self.with_header(GPS, lambda text: text.replace("(GPS P1)   0.0 ns (GPS P2)", "(GPS C1)"))
        self.assertIn(b"\nINT DLY = 0.0 ns (GPS C1)     CAL_ID = NONE\n", self.strict(one_delay)[GPS])

    def with_header(self, name, change):
        lines = change(EXPECTED["G"].read_text()).splitlines()
        lines[15] = f"CKSUM = {sum((''.join(lines[:15]) + 'CKSUM =').encode()) % 256:02x}"
        return self.write(name, lines, [])

    def test_what_is_refused(self):
        wrong_sum = self.write("G0", [EXPECTED["G"].read_text().replace("ESBC", "ESBD")], [])
        cases = [([wrong_sum], "checksum of the header is wrong"), ([self.folder / "missing"], "No such file"),
                 ([EXPECTED["G"], EXPECTED["G"]], "a file of this name is written already")]
        for number, (old, new, message) in enumerate((
                ("2020-06-25", "", "REV DATE is no date"), ("2020-06-25", "2020-06-31", "REV DATE is no date"),
                ("= 2E", "= 02", "not of version 2E"), ("LAB =", "LAP =", "LAB line expected")), start=1):
            path = self.with_header(f"G{number}", lambda text, old=old, new=new: text.replace(old, new))
            cases.append(([path], message))
        for paths, message in cases:
            written = self.strict(*paths, EXPECTED["E"], status=2)
            self.assertRegex(self.messages, f"(?m)^strict-cggtts: .*{message}")
            self.assertIn(EXPECTED["E"].name, written)
        no_date = self.folder / "G1"
        self.assertIn(b"\nREV DATE = 2026-01-31\n", self.strict(no_date, "--revdate", "2026-01-31")["G1"])
        self.assertEqual(call(TOOL, no_date, "-o", "x", "--revdate", "31.1.2026").status, 2)
        itself = call(TOOL, no_date, "--revdate", "2026-01-31", "-o", self.folder)
        self.assertIn("would overwrite itself", itself.stderr)

    def test_full_disk(self):
        before = self.strict(EXPECTED["G"])
        self.limit_files(5000)
        self.assertEqual(self.strict(EXPECTED["G"], EXPECTED["E"], status=2), before)
        self.assertEqual(self.messages.count(": [Errno 27] File too large: '"), 2, self.messages)


if __name__ == "__main__":
    unittest.main()

"""refresh: the latest snapshot, again and again, until it is told to stop."""

import json
import os
import resource
import shutil
import signal
import time

from collecting import CollectTest


class Refresh(CollectTest):
    def test_keeps_the_latest(self):
        done = self.ask("refresh", "a", "b")
        self.assertEqual(done.returncode, 0, done.stderr)
        self.assertRegex(done.stderr, r"\Atavrine: .*: 2 servers, 2 GPUs, 0 runs, 0 alerts; took "
                                      r"[0-9.]+ s and [0-9.]+ s of CPU\n\Z")
        self.assertEqual(len(self.latest()["servers"]), 2)
        self.assertEqual(self.tavrine("show").returncode, 0)

    def test_remembers_what_was(self):
        self.ask("refresh", "a")
        seen = self.latest()["servers"][0]["lastSeen"]
        gone = []
        for _ in range(2):
            time.sleep(1.1)
            done = self.ask("refresh", "a", stub="exit 255")
            self.assertEqual(done.returncode, 1)
            server, = self.latest()["servers"]
            self.assertEqual((server["state"], server["lastSeen"]), ("offline", seen))
            alert, = self.latest()["alerts"]
            gone.append((alert["id"], alert["timestamp"]))
        self.assertEqual(gone[0], gone[1])
        self.assertNotEqual(gone[0][1], self.latest()["timestamp"])

    def test_goes_on_until_it_is_told_to_stop(self):
        for sign in (signal.SIGINT, signal.SIGTERM):
            with self.subTest(sign):
                process = self.start("refresh", "--every", "0.2s")
                rounds = [process.stderr.readline() for _ in range(2)]
                process.send_signal(sign)
                words = process.communicate(timeout=20)[1]
                self.assertEqual(process.returncode, 0, rounds)
                self.assertTrue(all(b"1 server" in each for each in rounds), rounds)
                self.assertNotIn(b"offline", words)

    def test_stops_while_it_waits_for_a_host(self):
        self.ask("refresh", "a")
        before = self.latest()
        self.script("ssh", f"touch {self.folder}/asked; exec /bin/sleep 60")
        for every, status in ((["--every=60s"], 0), ([], 1)):
            (self.folder / "asked").unlink(missing_ok=True)
            process = self.start("refresh", "a", "--ssh", self.ssh, *every)
            while not (self.folder / "asked").exists():
                time.sleep(0.02)
            process.terminate()
            words = process.communicate(timeout=20)[1]
            self.assertEqual((process.returncode, words), (status, b"tavrine: interrupted\n"))
        self.assertEqual(self.latest(), before)

    def test_an_interruption_keeps_earlier_captures(self):
        self.ask("collect", "--captures=kept", "a")
        before = (self.folder / "kept/a/capture.json").read_bytes()
        self.script("ssh", f"touch {self.folder}/asked; exec /bin/sleep 60")
        process = self.start("collect", "--captures=kept", "a", "--ssh", self.ssh)
        while not (self.folder / "asked").exists():
            time.sleep(0.02)
        process.send_signal(signal.SIGINT)
        out, words = process.communicate(timeout=20)
        self.assertEqual((process.returncode, out, words), (1, b"", b"tavrine: interrupted\n"))
        self.assertEqual((self.folder / "kept/a/capture.json").read_bytes(), before)

    def test_stays_when_its_terminal_goes_and_it_was_told_to(self):
        process = self.start("refresh", "--every", "0.2s",
                             preexec_fn=lambda: signal.signal(signal.SIGHUP, signal.SIG_IGN))
        process.stderr.readline()
        process.send_signal(signal.SIGHUP)
        for _ in range(3):
            self.assertIn(b"1 server", process.stderr.readline())
        process.terminate()
        process.communicate(timeout=20)
        self.assertEqual(process.returncode, 0)

    def test_two_at_once(self):
        both = [self.start("refresh", "a", "b", "--ssh", self.ssh, "--captures=kept")
                for _ in range(2)]
        for process in both:
            words = process.communicate(timeout=60)[1]
            self.assertEqual(process.returncode, 0, words)
        self.assertEqual(len(self.latest()["servers"]), 2)
        self.assertEqual(os.listdir(self.home / ".tavrine"), ["latest.json"])
        self.assertEqual(sorted(os.listdir(self.folder / "kept")), ["a", "b"])

    @staticmethod
    def hardly_any_room():
        signal.signal(signal.SIGXFSZ, signal.SIG_DFL)
        resource.setrlimit(resource.RLIMIT_FSIZE, (100, resource.RLIM_INFINITY))

    def test_a_full_disk_keeps_the_old_one(self):
        self.ask("refresh", "a")
        before = self.latest()
        done = self.ask("refresh", "a", preexec_fn=self.hardly_any_room)
        self.assertEqual(done.returncode, 2)
        self.assertIn("File too large", done.stderr)
        self.assertEqual(self.latest(), before)
        self.assertEqual(os.listdir(self.home / ".tavrine"), ["latest.json"])

    def test_what_cannot_be_written_at_first_ends_it(self):
        self.file("file", b"")
        done = self.tavrine("refresh", "--every=1s", "--file", self.folder / "file/latest.json")
        self.assertEqual(done.returncode, 2)

    def test_what_cannot_be_written_later_does_not(self):
        process = self.start("refresh", "--every=0.2s", "--file", "store/latest.json")
        self.assertIn(b"1 server", process.stderr.readline())
        process.send_signal(signal.SIGSTOP)
        shutil.rmtree(self.folder / "store")
        self.file("store", b"")
        process.send_signal(signal.SIGCONT)
        self.wait_for(b"Not a directory", process)
        (self.folder / "store").unlink()
        self.wait_for(b"1 server", process)
        process.terminate()
        process.communicate(timeout=20)
        self.assertEqual(process.returncode, 0)
        self.assertTrue((self.folder / "store/latest.json").exists())

    def wait_for(self, words, process):
        for line in process.stderr:
            if words in line:
                return
        self.fail(f"it never said {words}")

    def test_a_damaged_snapshot_is_no_hindrance(self):
        (self.home / ".tavrine").mkdir()
        (self.home / ".tavrine/latest.json").write_bytes(b"\xff{")
        done = self.ask("refresh", "a")
        self.assertEqual(done.returncode, 0)
        self.assertIn("no snapshot in", done.stderr)
        self.assertIn("latest.json: ", done.stderr)
        self.assertEqual(len(self.latest()["servers"]), 1)

    def test_replaces_no_file_that_holds_something_else(self):
        thesis = self.file("thesis.tex", b"\\section{Years of work}\n")
        done = self.ask("refresh", "a", "--file", thesis)
        self.assertEqual(done.returncode, 2)
        self.assertIn("thesis.tex holds no snapshot and is left as it is: not JSON: ", done.stderr)
        self.assertEqual(thesis.read_bytes(), b"\\section{Years of work}\n")
        for kept in (b'{"timestamp":"2026-01-01T00:00:00Z","thesis":"years of work"}', b"[]", b"\xff",
                     b'{"timestamp":"2026-01-01T00:00:00Z","' + b"x" * 100_000 + b'":1}'):
            thesis.write_bytes(kept)
            done = self.ask("refresh", "a", "--file", thesis)
            self.assertEqual(done.returncode, 2)
            self.assertIn("thesis.tex holds no snapshot and is left as it is: ", done.stderr)
            self.assertLess(len(done.stderr), 1000)
            self.assertEqual(thesis.read_bytes(), kept)
        thesis.write_bytes(b"")
        self.assertEqual(self.ask("refresh", "a", "--file", thesis).returncode, 0)
        self.assertEqual(self.ask("refresh", "a", "--file", thesis).returncode, 0)
        self.assertEqual(len(json.loads(thesis.read_bytes())["servers"]), 1)

    def test_asks_no_host_for_what_it_could_not_keep(self):
        os.mkfifo(self.folder / "fifo")
        stub = f"touch {self.folder}/asked; exit 255"
        for file in ("fifo", ".", "", "fifo/x", "fifo/"):
            with self.subTest(file):
                done = self.ask("refresh", "a", "--file", file, stub=stub)
                self.assertEqual(done.returncode, 2)
                self.assertEqual(done.stderr.count("\n"), 1, done.stderr)
                self.assertFalse((self.folder / "asked").exists())

    def test_leaves_what_took_the_place_of_its_file(self):
        process = self.start("refresh", "--every=0.2s", "--file", "lab.json")
        self.assertIn(b"1 server", process.stderr.readline())
        process.send_signal(signal.SIGSTOP)
        self.file("lab.json", b"years of work\n")
        process.send_signal(signal.SIGCONT)
        self.wait_for(b"is left as it is", process)
        self.assertEqual((self.folder / "lab.json").read_bytes(), b"years of work\n")
        (self.folder / "lab.json").unlink()
        self.wait_for(b"1 server", process)
        process.terminate()
        process.communicate(timeout=20)
        self.assertEqual(process.returncode, 0)

    def test_losses_in_the_snapshot_before_are_told(self):
        self.ask("refresh", "a")
        damaged = self.latest()
        damaged["alerts"] = ["none"]
        before = self.file("before.json", json.dumps(damaged).encode())
        (self.home / ".tavrine/latest.json").write_bytes(before.read_bytes())
        done = self.ask("refresh", "a", "--findings")
        self.assertEqual(done.returncode, 1)
        self.assertRegex(done.stderr, r"latest\.json\n  alerts\[0\]: ")
        self.ask("collect", "--captures", "kept", "a")
        done = self.tavrine("assemble", "kept", "--previous", before, "--findings")
        self.assertEqual(done.returncode, 1)
        self.assertRegex(done.stderr, r"before\.json\n  alerts\[0\]: ")
        self.assertEqual(len(self.servers(done)), 1)
        for damage in (b"", b"[]", b"\xff"):
            done = self.tavrine("assemble", "kept", "--previous", self.file("no.json", damage))
            self.assertEqual((done.returncode, done.stdout), (2, b""))
            self.assertIn("no.json: ", done.stderr)

    def test_keeps_a_private_snapshot_private(self):
        self.ask("refresh", "a")
        latest = self.home / ".tavrine/latest.json"
        latest.chmod(0o600)
        self.ask("refresh", "a")
        self.assertEqual(latest.stat().st_mode & 0o777, 0o600)

    def test_a_write_is_finished_before_it_stops(self):
        # So many processes that a write takes its time, and sure to be met.
        self.script("bin/ps", "i=0; while [ $i -lt 50000 ]; do i=$((i + 1)); "
                              "echo \"$i 1 ada R 0.0 0.0 10:00 1 python a command of $i\"; done")
        store = self.folder / "store"
        process = self.start("refresh", "--every=0.01s", "--file", store / "latest.json")
        self.assertIn(b"1 server", process.stderr.readline())
        before = (store / "latest.json").stat().st_ino
        deadline = time.monotonic() + 60
        while time.monotonic() < deadline:
            if any(name.startswith(".tavrine-") for name in os.listdir(store)):
                process.send_signal(signal.SIGTERM)
                break
        else:
            self.fail("no write was seen")
        process.communicate(timeout=60)
        self.assertEqual(process.returncode, 0)
        self.assertEqual(os.listdir(store), ["latest.json"])
        self.assertNotEqual((store / "latest.json").stat().st_ino, before)
        self.assertEqual(len(json.loads((store / "latest.json").read_bytes())["processes"]), 50000)

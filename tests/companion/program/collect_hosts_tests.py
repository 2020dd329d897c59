"""How collect gets on with hosts: good ones, broken ones, and one over the real ssh."""

import getpass
import json
import os
import pathlib
import shutil
import socket
import subprocess
import time

from collecting import GPU, OPTIONS, CollectTest
from testing import PROGRAM, run


class Hosts(CollectTest):
    def state(self, stub, *options, problem=None, state="offline", status=1):
        done = self.ask("collect", "h", *options, stub=stub)
        self.assertEqual(self.servers(done)["h"]["state"], state)
        self.assertEqual(done.returncode, status, done.stderr)
        words = "" if problem is None else f"tavrine: h: {problem}\n"
        self.assertEqual(done.stderr, words)
        return done

    def test_asks_in_one_way(self):
        self.state(self.here(f'echo "$@" > {self.folder}/said'), state="connected", status=0)
        self.assertEqual((self.folder / "said").read_text(), f"{OPTIONS} h sh -s\n")

    def test_one_that_never_answers(self):
        started = time.monotonic()
        self.state("exec /bin/sleep 60", "--timeout=1s", problem="no answer within 1 s")
        self.assertLess(time.monotonic() - started, 10)

    def test_one_that_stops_in_the_middle(self):
        self.state(self.here().replace("exec sh", "sh") + " | head -n 5; echo 'gone' >&2; exit 255",
                   problem="it ended too early, with status 255: gone", state="degraded")

    def test_one_that_is_unknown(self):
        self.state("echo 'no such host' >&2; exit 255",
                   problem="no answer, but status 255: no such host")

    def test_one_that_complains_where_others_answer(self):
        self.state("echo 'Welcome'; echo 'This account is not available.'; exit 1",
                   problem="no answer, but status 1: This account is not available.")
        self.state("echo 'Welcome'; echo 'gone' >&2; exit 1",
                   problem="no answer, but status 1: gone")
        self.state("echo 'Welcome'; exit 255", problem="no answer, but status 255")
        done = self.state("echo 'Is it you?'; exit 1",
                          problem="no answer, but status 1: Is it you?")
        self.assertEqual([alert["message"] for alert in json.loads(done.stdout)["alerts"]],
                         ["No answer, but status 1: Is it you?"])

    def test_one_that_has_no_tool(self):
        (self.folder / "none").mkdir()
        done = self.ask("collect", "h", stub=f"PATH={self.folder}/none exec /bin/sh -s")
        self.assertEqual(self.servers(done)["h"]["state"], "degraded")
        self.assertEqual(done.returncode, 1)
        self.assertIn("1 loss in 1 source", done.stderr)
        told = self.ask("collect", "h", "--findings",
                        stub=f"PATH={self.folder}/none exec /bin/sh -s").stderr
        self.assertIn("neither this tool nor any other", told)

    def test_one_that_is_offline_is_told_why_in_its_alert(self):
        done = self.state("echo 'no such host' >&2; exit 255",
                          problem="no answer, but status 255: no such host")
        self.assertEqual([alert["message"] for alert in json.loads(done.stdout)["alerts"]],
                         ["No answer, but status 255: no such host."])

    def test_one_that_greets(self):
        for greeting in ("echo welcome", "printf 'welcome > '", "printf '\\377\\000\\033[2J'"):
            with self.subTest(greeting):
                self.state(self.here(greeting), state="connected", status=0)

    def test_one_that_speaks_through_a_terminal(self):
        done = self.state(self.here().replace("exec sh", "sh") + " | sed 's/$/\\r/'",
                          state="connected", status=0)
        self.assertEqual(len(self.servers(done)["h"]["gpus"]), 1)

    def test_one_that_speaks_in_bytes(self):
        self.state("cat >/dev/null; head -c 3000000 /dev/urandom",
                   problem="no answer, but status 0")

    def expect_little_memory(self, usage):
        idle = subprocess.Popen([PROGRAM, "--version"], stdout=subprocess.DEVNULL)
        _, status, of_nothing = os.wait4(idle.pid, 0)
        idle.returncode = os.waitstatus_to_exitcode(status)
        # In kilobytes. A sanitizer takes much for itself, before anything has been done.
        is_sanitized = of_nothing.ru_maxrss > 20_000
        self.assertLess(usage.ru_maxrss, 200_000 if is_sanitized else 60_000)

    def test_one_that_babbles(self):
        self.script("ssh", "exec head -c 200000000 /dev/zero")
        process = self.start("collect", "h", "--ssh", self.ssh, "--most-per-host=4")
        words = process.stderr.read().decode()
        self.assertEqual(words, "tavrine: h: it printed more than it may\n")
        process.stdout.read()
        _, status, usage = os.wait4(process.pid, 0)
        process.returncode = os.waitstatus_to_exitcode(status)
        process.stdout.close()
        process.stderr.close()
        self.assertEqual(process.returncode, 1)
        self.expect_little_memory(usage)

    def test_one_whose_tool_prints_without_end(self):
        self.script("bin/nvidia-smi", "exec yes")
        done = self.ask("collect", "h", "--most-per-file=1", "--most-per-host=2",
                        "--command-timeout=2s", stub=self.here())
        self.assertEqual(done.returncode, 1)
        self.assertIn("printed more than it may", done.stderr)

    def test_one_that_would_stop_the_parser_costs_only_itself(self):
        fatal = "1, B, 1 %, 2 MiB, 4 MiB, 30, 5 W, 6 W, 0, 0, 0, nan, 4, 16, P0"
        self.script("bin/nvidia-smi",
                    f"case $1 in --query-gpu*) echo '{GPU}'; echo '{fatal}';; esac")
        done = self.ask("collect", "h", ".")
        self.assertEqual(done.returncode, 1)
        servers = self.servers(done)
        self.assertEqual([len(each["gpus"]) for each in servers.values()], [1, 1])

    def test_names_that_are_no_hosts_reach_nobody(self):
        self.script("ssh", f"touch {self.folder}/reached")
        for host in ("-oProxyCommand=touch reached", "a=-oX", "a b", "a\nb", "", "a=", "=a",
                     "a\x1b[2J", "ada@-oX"):
            with self.subTest(host):
                done = self.ask("collect", "--", host)
                self.assertEqual((done.returncode, done.stdout), (2, b""))
                self.assertRegex(done.stderr, r"\Atavrine: no host: .*\n\Z")
                self.assertNotIn("\x1b", done.stderr)
        self.assertFalse((self.folder / "reached").exists())

    def test_a_name_that_a_shell_would_run_does_not(self):
        host = f"$(touch${{IFS}}{self.folder}/run);`id`"
        self.ask("collect", host, stub=self.here())
        self.assertFalse((self.folder / "run").exists())

    def test_two_hundred_of_them_some_dead_and_some_slow(self):
        self.script("ssh", r"""
shift $(($# - 2))
case $1 in
  h*7) exec /bin/sleep 60 ;;
  h*3) exit 255 ;;
  h*5) /bin/sleep 0.5 ;;
esac
word=$(head -n 1 | cut -d = -f 2); cat >/dev/null
printf '%s begin load\n0.5\n%s end load 0\n' $word $word
printf '%s begin done\n\n%s end done 0\n' $word $word""")
        started = time.monotonic()
        process = self.start("collect", "--ssh", self.ssh, "--timeout=2s",
                             *(f"h{i}" for i in range(200)))
        out = process.stdout.read()
        words = process.stderr.read().decode()
        _, status, usage = os.wait4(process.pid, 0)
        process.returncode = os.waitstatus_to_exitcode(status)
        process.stdout.close()
        process.stderr.close()
        taken = time.monotonic() - started
        states = [each["state"] for each in json.loads(out)["servers"]]
        self.assertEqual((len(states), states.count("offline")), (200, 40))
        self.assertEqual(words.count("no answer within 2 s"), 20)
        self.assertEqual(words.count("no answer, but status 255"), 20)
        self.assertLess(taken, 15)  # one after the other: 40 s of waiting alone
        self.expect_little_memory(usage)


class OverSSH(CollectTest):
    """The real thing: a daemon of our own, for us alone, on the loopback."""

    def setUp(self):
        super().setUp()
        beyond = os.environ["PATH"] + ":/usr/sbin:/usr/local/sbin"
        self.daemon = shutil.which("sshd", path=beyond)
        if not self.daemon or not shutil.which("ssh") or not shutil.which("ssh-keygen"):
            self.skipTest("needs ssh and sshd: install openssh-client and openssh-server")
        if os.geteuid() == 0 and not pathlib.Path("/run/sshd").is_dir():
            try:
                os.mkdir("/run/sshd", 0o755)  # where a daemon of root goes before it knows its user
            except OSError as error:
                self.skipTest(f"sshd needs /run/sshd: {error}")
            self.addCleanup(os.rmdir, "/run/sshd")
        for key in ("host_key", "key"):
            self.make_key(key)
        shutil.copy(self.folder / "key.pub", self.folder / "authorized_keys")
        with socket.socket() as probe:
            probe.bind(("127.0.0.1", 0))
            self.port = probe.getsockname()[1]
        self.file("sshd_config", f"""\
Port {self.port}
ListenAddress 127.0.0.1
HostKey {self.folder}/host_key
AuthorizedKeysFile {self.folder}/authorized_keys
PidFile none
StrictModes no
UsePAM no
PasswordAuthentication no
PermitRootLogin yes
""".encode())
        daemon = subprocess.Popen([self.daemon, "-D", "-e", "-f", self.folder / "sshd_config"],
                                  stderr=subprocess.PIPE)
        self.addCleanup(daemon.stderr.close)
        self.addCleanup(daemon.wait, 20)
        self.addCleanup(daemon.terminate)
        words = b""
        while b"Server listening" not in words:
            line = daemon.stderr.readline()
            words += line
            if not line:
                self.skipTest(f"sshd does not start here: {words.decode()}")
        public = (self.folder / "host_key.pub").read_text()
        self.file("known_hosts", f"[127.0.0.1]:{self.port} {public}".encode())
        self.ssh = self.ssh_with("key")

    def make_key(self, name):
        subprocess.run(["ssh-keygen", "-q", "-t", "ed25519", "-N", "", "-f", self.folder / name],
                       check=True)

    def ssh_with(self, key):
        """ssh as a user's configuration would have it, which here stands in a file of its own."""
        self.file("ssh_config", f"""\
Host gpu-*
  HostName 127.0.0.1
  Port {self.port}
  User {getpass.getuser()}
  IdentityFile {self.folder}/{key}
  IdentitiesOnly yes
  UserKnownHostsFile {self.folder}/known_hosts
  GlobalKnownHostsFile none
""".encode())
        return self.script("ssh", f'exec {shutil.which("ssh")} -F {self.folder}/ssh_config "$@"')

    def test_asks_a_host(self):
        self.file("train.log", b"step 1 loss: 2.5\n")
        done = self.ask("collect", "gpu-01", "gpu-02",
                        f"--training-logs={self.folder}/train.log")
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        snapshot = json.loads(done.stdout)
        self.assertEqual([each["state"] for each in snapshot["servers"]], ["connected"] * 2)
        self.assertEqual([each["serverName"] for each in snapshot["runs"]], ["gpu-01", "gpu-02"])
        self.assertEqual(len(snapshot["sensors"]), 2)

    def test_never_asks_for_a_password(self):
        self.make_key("other")
        self.ssh_with("other")
        done = self.ask("collect", "gpu-01")
        self.assertEqual(done.returncode, 1)
        self.assertIn("gpu-01: no answer, but status 255: ", done.stderr)
        self.assertIn("Permission denied", done.stderr)

    def test_trusts_no_host_that_it_does_not_know(self):
        self.file("known_hosts", b"")
        done = self.ask("collect", "gpu-01")
        self.assertEqual(done.returncode, 1)
        self.assertIn("Host key verification failed", done.stderr)

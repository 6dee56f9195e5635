#!/usr/bin/python3
"""Boots media in real firmware, whose jobs come from a server and whose files go there: check_network.py x64|aarch64 WORK
[STORY...]. Environment: IMAGES_X64, IMAGES_AA64 and XYL as in run_medium.sh, LIMIT seconds for a boot, ACCEL for x64.
"""
import json
import os
import pathlib
import re
import shutil
import subprocess
import sys
import threading
import time

from network_server import Server, bytes_of, certificate, closed_port

ROOT = pathlib.Path(__file__).resolve().parents[2]
ARCH, WORK, *STORIES = sys.argv[1:]
LIMIT = int(os.environ.get("LIMIT", "250"))
NETWORK = "-netdev user,id=n0 -device virtio-net-pci,netdev=n0,romfile= "
QEMU = {
    "x64": "qemu-system-x86_64 -machine q35 -accel {} -bios /usr/share/ovmf/OVMF.fd ".format(os.environ.get("ACCEL", "tcg")),
    "aarch64": "qemu-system-aarch64 -machine virt -cpu cortex-a57 -accel tcg -boot menu=on,splash-time=0 "
               "-bios /usr/share/qemu-efi-aarch64/QEMU_EFI.fd ",
}[ARCH] + "-m 512 -nodefaults -display none -no-reboot "
USB = "-device qemu-xhci -drive if=none,id=m0,format=raw,file={} -device usb-storage,drive=m0,bootindex=0 "
CD = {"x64": "-drive if=none,id=m0,format=raw,media=cdrom,readonly=on,file={} -device ide-cd,drive=m0,bootindex=0 ",
      "aarch64": "-drive if=none,id=m0,format=raw,media=cdrom,readonly=on,file={} -device virtio-scsi-pci "
                 "-device scsi-cd,drive=m0,bootindex=0 "}[ARCH]
TOLD = "SN_42-01234567-89AB-CDEF-0123-456789ABCDEF"
failures = []


def check(holds, words):
    if not holds:
        failures.append(words)
        print(f"network {ARCH}: {words}", flush=True)


class Medium:
    def __init__(self, name, jobs, kind="img", files=()):
        self.name, self.file, self.console = name, f"{name}.{kind}", ""
        shutil.rmtree(name, ignore_errors=True)
        for arch, images in (("x64", "IMAGES_X64"), ("aa64", "IMAGES_AA64")):
            os.makedirs(f"{name}/drivers/{arch}")
            folder = os.environ.get(images, ROOT / "build" / {"x64": "efi", "aa64": "efi-aarch64"}[arch])
            shutil.copy(f"{folder}/RaidSim.efi", f"{name}/drivers/{arch}")
            pathlib.Path(f"{name}/drivers/{arch}/RaidSim.opt").write_text("demo\n")
        for file, content in {"jobs.txt": jobs, **dict(files)}.items():
            pathlib.Path(f"{name}/{file}").write_bytes(content if isinstance(content, bytes) else content.encode())
        made = subprocess.run([ROOT / "tools/make_medium.sh", name, self.file], capture_output=True, text=True, check=False)
        check(made.returncode == 0, f"{name}: no medium: {made.stdout}{made.stderr}")

    def boot(self, serial="SN/42", others=NETWORK, limit=LIMIT):
        log = f"{self.name}.console"
        drive = (USB if self.file.endswith("img") else CD).format(self.file)
        begun = time.monotonic()
        try:
            code = subprocess.run([*(QEMU + drive + others + f"-serial file:{log}").split(), "-smbios",
                                   f"type=1,serial={serial},uuid=01234567-89ab-cdef-0123-456789abcdef"],
                                  timeout=limit, check=False).returncode
            check(code == 0, f"{self.name}: QEMU ended with {code}")
        except subprocess.TimeoutExpired:
            check(False, f"{self.name}: out of time")
        raw = pathlib.Path(log).read_bytes()
        self.console = re.sub(rb"\x1b\[[0-9;?=]*[A-Za-z]|\r", b"", raw).decode("latin1")
        print(f"network {ARCH}: {self.name} booted for {time.monotonic() - begun:.0f} s", flush=True)

    def said(self, *words):
        for part in words:
            check(part in self.console, f"{self.name}: not said: {part}")

    def collect(self):
        """The folder with its files: of the medium, or of the console."""
        folder = pathlib.Path(f"{self.name}.files")
        shutil.rmtree(folder, ignore_errors=True)
        folder.mkdir()
        if self.file.endswith("img"):
            subprocess.run(["mcopy", "-n", "-s", "-i", f"{self.file}@@1M", "::/raidxyl", folder], check=True)
            return folder / "raidxyl"
        subprocess.run([os.environ["XYL"], "unpack", f"{self.name}.console", folder], check=True, capture_output=True)
        return folder

    def result(self):
        return json.loads((self.collect() / f"results/{TOLD}.json").read_text())


# --- Stories ---

# A line, the exit code it ends with, and what it says.
def lines_for(server, late_port):
    url = server.url
    return [
        (f"fetch {url}/bytes/1000 in\\plain.bin", 0, "fetched 1000 bytes"),
        (f"fetch {url}/bytes/0 in\\empty.bin", 0, "fetched 0 bytes"),
        (f"fetch {url}/bytes/{1 << 20} in\\large.bin", 0, "fetched 1048576 bytes"),
        (f"fetch {url}/chunks/100000 in\\chunks.bin", 0, "fetched 100000 bytes"),
        (f"fetch {url}/odd%%20name%%C3%%A4 in\\host.txt", 0, ""),
        (f"fetch {url}/flaky/300 in\\flaky.bin", 0, "attempt 3 of 3"),
        (f"fetch {url}/late/200 in\\late.bin", 0, ""),
        (f"fetch http://10.0.2.2:{late_port}/bytes/50 in\\waited.bin", 0, "nobody listens"),
        # An answer that is not whole leaves no file, and the old one as it was.
        (f"fetch {url}/bytes/10 in\\kept.bin", 0, ""),
        (f"fetch {url}/short/5000 in\\kept.bin", 4, "the answer broke off"),
        (f"fetch {url}/short-chunks/3000 in\\none.bin", 4, "the answer broke off"),
        (f"fetch {url}/endless/3000 in\\none.bin", 4, "does not say how long it is"),
        (f"fetch {url}/huge in\\none.bin", 4, "the answer is too large"),
        (f"fetch {url}/elsewhere in\\none.bin", 4, "the server answers 302; redirects are not followed"),
        (f"fetch {url}/none in\\none.bin", 3, "the server answers 404"),
        # What goes there.
        ("get -o saved\\%SERIAL%.xml", 0, ""),
        (f"send saved\\%SERIAL%.xml {url}/%SERIAL%/saved.xml", 0, "the server answers 201"),
        (f"send in\\large.bin {url}/large post", 0, "sent 1048576 bytes"),
        (f"send in\\empty.bin {url}/204", 0, "the server answers 204"),
        (f"send in\\plain.bin {url}/late/503 put", 0, "the server answers 503"),
        (f"send in\\plain.bin {url}/refused", 4, "the server answers 403"),
        (f"send none.bin {url}/never", 3, "cannot read"),
    ]


def start_late(console, port, words):
    """Starts a server once the guest has tried in vain."""
    def wait():
        for _ in range(LIMIT * 20):
            if words in pathlib.Path(console).read_bytes().decode("latin1"):
                Server(port=port)
                return
            time.sleep(0.05)
    threading.Thread(target=wait, daemon=True).start()


def fetches_and_sends():
    server, port = Server(), closed_port()
    rows = lines_for(server, port)
    jobs = "attempts 3 1\nsend result.json " + server.url + "/%SERIAL%/%UUID%.json\n"
    medium = Medium("lines", jobs + "\n".join(row[0] for row in rows) + "\nend shutdown\n")
    pathlib.Path("lines.console").write_text("")
    start_late("lines.console", port, "nobody listens")
    medium.boot()
    files, result = medium.collect(), medium.result()
    for (line, code, words), told in zip(rows, result["lines"]):
        check((told.get("exitCode"), words in told.get("printed", "")) == (code, True), f"{line}: {told}")
    for name, size in {"plain": 1000, "empty": 0, "large": 1 << 20, "chunks": 100000, "flaky": 300, "late": 200,
                       "waited": 50, "kept": 10}.items():
        path = files / f"in/{name}.bin"
        check(path.exists() and path.read_bytes() == bytes_of(size), f"{path} is not what the server has")
    check(not (files / "in/none.bin").exists(), "an answer that broke off left a file")
    check((files / "in/host.txt").read_text() == f"10.0.2.2:{server.port}", "the Host is another")
    saved = (files / "saved/SN_42.xml").read_bytes()
    written = (files / f"results/{TOLD}.json").read_bytes()
    for path, wanted in {"/SN_42/saved.xml": ("PUT", saved), "/large": ("POST", bytes_of(1 << 20)), "/204": ("PUT", b""),
                         "/late/503": ("PUT", bytes_of(1000)),
                         "/SN_42/01234567-89AB-CDEF-0123-456789ABCDEF.json": ("PUT", written)}.items():
        check(server.kept.get(path) == wanted, f"the server has another {path} than the machine")
    check(server.asked[-1].endswith(".json"), "the result is not sent last")
    check("Content" not in str(server.kept.keys()) and len(server.kept) == 5, f"the server has more: {server.kept.keys()}")


JOB = """attempts 1
fetch {wrong}/bytes/10 wrong.bin
fetch {expired}/bytes/10 expired.bin
fetch {foreign}/bytes/10 foreign.bin
fetch {url}/bytes/70000 fetched.bin
get -o saved.xml
send saved.xml {url}/saved.xml
send jobs.txt {url}/jobs.txt
send result.json {closed}/result.json
end shutdown
"""


def takes_jobs_over_tls():
    """A job by HTTPS for each machine, with a login and a fixed address, on a medium that cannot be written."""
    jobs = {}
    server = Server(certificate("server", "IP:10.0.2.2"), login=True, jobs=jobs)
    wrong = Server(certificate("wrong", "IP:10.0.2.9"))
    expired = Server(certificate("expired", "IP:10.0.2.2", expired=True))
    foreign = Server(certificate("foreign", "IP:10.0.2.2"))
    jobs["SN_42.txt"] = JOB.format(url=server.url, wrong=wrong.url, expired=expired.url, foreign=foreign.url,
                                   closed=f"https://10.0.2.2:{closed_port()}")
    trusted = b"".join(open(f"{name}.crt", "rb").read() for name in ("server", "wrong", "expired"))
    named = f"network 10.0.2.77/24 10.0.2.2\njob {server.url}/jobs/%SERIAL%.txt\n"
    files = {"ca.pem": trusted, "logins.txt": f"http://10.0.2.2:{server.port} no:body\n"
                                              f"{server.url} medium:geheim with blanks\n"}
    medium = Medium("job", named, "iso", files)
    medium.boot()
    medium.said("has the address 10.0.2.77", f"==> job {server.url}/jobs/SN_42.txt", "the result is not sent")
    check("geheim" not in medium.console, "the console tells the password")
    folder, result = medium.collect(), medium.result()
    check([line.get("exitCode") for line in result["lines"]][3:] == [0, 0, 0, 4, None], f"lines: {result['lines']}")
    check("not written by this job" in result["lines"][6]["printed"], "what the job did not write is sent")
    # Both firmwares take a certificate that has expired; what docs/medium.md says of it is this.
    check([line["exitCode"] for line in result["lines"][:3]] == [4, 0, 4], f"trusts others: {result['lines'][:3]}")
    check(result["from"] == f"{server.url}/jobs/SN_42.txt", "the result does not tell where the job came from")
    check((folder / f"results/{TOLD}.txt").read_text() == jobs["SN_42.txt"], "the job that ran is not kept")
    check(server.kept.get("/saved.xml") == ("PUT", (folder / "saved.xml").read_bytes()), "the server has another document")
    check(list(server.kept) == ["/saved.xml"], f"the server has more: {server.kept.keys()}")
    check("file fetched.bin" not in medium.console, "the console shows what was fetched")
    # A machine for which there is nothing.
    medium = Medium("nothing", named, files=files)
    script = b"ifconfig -l\r\necho went on\r\nreset -s\r\n"
    subprocess.run(["mcopy", "-i", f"{medium.file}@@1M", "-", "::/startup.nsh"], input=script, check=True)
    medium.boot(serial="SN/43")
    medium.said("the server answers 404", "the server has no job for this machine", "==> return", "went on")
    medium.said("policy       : static", "ipv4 address : 0.0.0.0")  # as it was before
    check(not (medium.collect() / "results").exists(), "there is a result of nothing")


def takes_long():
    """Large files, and what firmware or the medium wait for."""
    server = Server()
    rows = [(f"fetch {server.url}/bytes/{16 << 20} large.bin", 0, "fetched 16777216 bytes"),
            (f"send large.bin {server.url}/large", 0, "sent 16777216 bytes"),
            (f"fetch {server.url}/chunks/{1 << 20} chunks.bin", 0, "fetched 1048576 bytes"),
            (f"fetch {server.url}/stalls/1000 none.bin", 4, "nothing came in time"),
            (f"fetch {server.url}/silent none.bin", 4, "nothing came in time"),
            (f"fetch {server.url}/broken-chunks/3000 none.bin", 4, ""),
            ("fetch http://nobody.example/x none.bin", 4, ""),
            ("fetch http://10.0.2.99/x none.bin", 4, "nothing came in time")]
    medium = Medium("long", "attempts 1\n" + "\n".join(row[0] for row in rows) + "\nend shutdown\n")
    medium.boot(limit=900)
    files, result = medium.collect(), medium.result()
    for (line, code, words), told in zip(rows, result["lines"]):
        print(f"network {ARCH}: {told.get('seconds')} s: {line}: {told.get('printed', '').splitlines()[-1:]}")
        check((told.get("exitCode"), words in told.get("printed", "")) == (code, True), f"{line}: {told}")
    check(server.kept["/large"] == ("PUT", bytes_of(16 << 20)), "the server has another large file")
    check((files / "large.bin").read_bytes() == bytes_of(16 << 20), "the machine has another large file")
    check(not (files / "none.bin").exists(), "there is a file of nothing")


def documented(language, part):
    """A block of docs/medium.md that has this part."""
    text = (ROOT / "docs/medium.md").read_text()
    found = [block for block in re.findall(rf"```{language}\n(.*?)```", text, re.S) if part in block]
    assert len(found) == 1, f"docs/medium.md has {len(found)} such blocks"
    return found[0]


def speaks_with_nginx():
    """The server, job, medium and play of docs/medium.md, with other folders and another port."""
    work, port = os.getcwd(), closed_port()

    def here(text):
        for old, new in {"/etc/raidxyl": f"{work}/etc", "/srv/raidxyl": f"{work}/srv", "IP:192.0.2.10": "IP:10.0.2.2",
                         "listen 8443": f"listen 127.0.0.1:{port}", "provisioning.example:8443": f"10.0.2.2:{port}",
                         "./run medium save save.img\n": ""}.items():
            text = text.replace(old, new)
        return text

    os.makedirs("save", exist_ok=True)
    for part in ("openssl passwd", "save/ca.pem"):
        subprocess.run(["sh", "-euc", here(documented("sh", part))], check=True, capture_output=True,
                       env={**os.environ, "PASSWORD": "geheim: 1"})
    os.makedirs("nginx", exist_ok=True)
    pathlib.Path("nginx.conf").write_text(
        f"pid {work}/nginx/pid; error_log {work}/nginx/error.log; user root; daemon off; events {{}}\n"
        f"http {{ access_log {work}/nginx/access.log; client_body_temp_path {work}/nginx/bodies;\n"
        f"{here(documented('nginx', 'dav_methods'))}}}\n")
    nginx = subprocess.Popen(["/usr/sbin/nginx", "-p", work, "-c", f"{work}/nginx.conf"])
    try:
        saved = {name: pathlib.Path(f"save/{name}").read_bytes() for name in ("ca.pem", "logins.txt")}
        medium = Medium("nginx-medium", pathlib.Path("save/jobs.txt").read_text(), files=saved)
        medium.boot()
        medium.said("sent ", "the server answers 201", "==> shutdown")
        results = pathlib.Path("srv/results/SN_42")
        files = medium.collect()
        for there, here_file in (("saved.xml", "SN_42.xml"), ("result.json", f"results/{TOLD}.json")):
            check((results / there).read_bytes() == (files / here_file).read_bytes(), f"nginx has another {there}")
        collect_by_ansible(results)
        # Without the login nothing is taken.
        bare = Medium("bare", f"attempts 1\nsend ca.pem https://10.0.2.2:{port}/results/x\nend shutdown\n",
                      files={"ca.pem": saved["ca.pem"]})
        bare.boot()
        bare.said("the server answers 401; 'logins.txt' has no login for it")
        check(not pathlib.Path("srv/results/x").exists(), "nginx took a file from nobody")
    finally:
        nginx.terminate()
        nginx.wait()


def collect_by_ansible(results):
    pathlib.Path("hosts").write_text("[servers]\nweb1 serial=SN_42\nweb2 serial=SN_43\n[others]\nprovisioning "
                                     "ansible_connection=local ansible_python_interpreter=/usr/bin/python3\n")
    pathlib.Path("collect.yml").write_text(documented("yaml", "ansible.builtin.slurp"))

    def play(host):
        done = subprocess.run(["ansible-playbook", "-i", "hosts", "-l", host, "collect.yml", "-e",
                               f"results={os.getcwd()}/srv/results tries=1"], capture_output=True, text=True, check=False)
        return done.returncode, done.stdout + done.stderr

    code, told = play("web1")
    check(code == 0, f"Ansible: {told}")
    fetched = pathlib.Path("documents/SN_42.xml").read_bytes()
    check(fetched == (results / "saved.xml").read_bytes(), "Ansible fetched another document")
    check(play("web2")[0] != 0, "Ansible is content without a result")
    result = json.loads((results / "result.json").read_text())
    result["lines"][0]["outcome"] = "failed"
    (results / "result.json").write_text(json.dumps(result))
    check(play("web1")[0] != 0, "Ansible is content with a line that failed")


def main():
    shutil.rmtree(WORK, ignore_errors=True)
    os.environ["XYL"] = os.path.realpath(os.environ.get("XYL", ROOT / "build/release/bin/xyl"))
    os.makedirs(WORK)
    os.chdir(WORK)
    for story in STORIES or ("fetches_and_sends", "takes_jobs_over_tls"):
        before = len(failures)
        globals()[story]()
        if len(failures) == before:
            print(f"network {ARCH}: {story}: ok", flush=True)
    sys.exit(1 if failures else 0)


if __name__ == "__main__":
    main()

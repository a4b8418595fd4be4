"""Compares orv-printer-app with LPrint in one run: printer_app.py APPLICATION ORV DOCUMENTS EXAMPLES [JOBS].

Both get the same raster and send their output to a socket of this program. Prints, for each: the median time from
the start of the client to the last byte, the processor time of the server per page, and its largest memory.
"""

import atexit
import os
import pathlib
import shutil
import socket
import statistics
import subprocess
import sys
import tempfile
import threading
import time

from PIL import Image

PRINT = """{
  OPERATION Print-Job
  GROUP operation-attributes-tag
  ATTR charset attributes-charset utf-8
  ATTR naturalLanguage attributes-natural-language en
  ATTR uri printer-uri $uri
  ATTR mimeMediaType document-format image/pwg-raster
  GROUP job-attributes-tag
  ATTR keyword media na_index-4x6_4x6in
  FILE $filename
  STATUS successful-ok
}
"""
SIZES = {203: (812, 1218), 600: (2400, 3600)}


class Sink:
    """A network printer that reads everything and remembers when the last byte came."""

    def __init__(self):
        self.listener = socket.create_server(("127.0.0.1", 0))
        self.port = self.listener.getsockname()[1]
        self.ended = threading.Event()
        threading.Thread(target=self._serve, daemon=True).start()

    def _serve(self):
        while True:
            connection, _ = self.listener.accept()
            self.bytes = 0
            while part := connection.recv(1 << 16):
                self.bytes += len(part)
                self.last = time.monotonic()
            connection.close()
            if self.bytes:
                self.ended.set()


class Server:
    """A printer application on a port of its own."""

    def __init__(self, program, options):
        with socket.create_server(("127.0.0.1", 0)) as free:
            port = free.getsockname()[1]
        self.program = program
        self.uri = f"ipp://localhost:{port}/ipp"
        self.process = subprocess.Popen(
            [program, "server", "-o", f"server-port={port}", *options],
            stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        atexit.register(self.process.kill)  # also if a measurement fails
        for _ in range(100):
            if subprocess.run(["ipptool", "-q", self.uri + "/system", "get-printers.test"],
                              stderr=subprocess.DEVNULL).returncode == 0 and self.process.poll() is None:
                return
            time.sleep(0.1)
        sys.exit(f"{program} does not start")

    def add(self, name, driver, sink):
        subprocess.run([self.program, "add", "-u", self.uri + "/system", "-d", name, "-m", driver,
                        "-v", f"socket://127.0.0.1:{sink.port}"], check=True)

    def processor(self):
        fields = pathlib.Path(f"/proc/{self.process.pid}/stat").read_text().rsplit(")", 1)[1].split()
        return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")

    def memory(self):
        for line in pathlib.Path(f"/proc/{self.process.pid}/status").read_text().splitlines():
            if line.startswith("VmHWM:"):
                return int(line.split()[1]) / 1024
        return 0.0

    def stop(self):
        self.process.terminate()
        self.process.wait()


def measure(label, server, printer, document, sink, jobs):
    times = []
    before = None
    for job in range(jobs + 1):  # the first one is not counted
        if job == 1:
            before = server.processor()
        sink.ended.clear()
        start = time.monotonic()
        subprocess.run(["ipptool", "-q", "-f", document, f"{server.uri}/print/{printer}", "print.test"],
                       check=True)
        if not sink.ended.wait(60):
            sys.exit(f"{label}: no page arrives")
        times.append(sink.last - start)
    processor = (server.processor() - before) / jobs
    print(f"{label:44} {1000 * statistics.median(times[1:]):8.1f} {1000 * processor:8.1f} "
          f"{server.memory():8.1f} {sink.bytes:9}", flush=True)


def main():
    application, orv, documents, examples = (str(pathlib.Path(path).resolve()) for path in sys.argv[1:5])
    jobs = sys.argv[5] if len(sys.argv) > 5 else "20"
    if not jobs.isdecimal() or int(jobs) == 0:
        sys.exit(f"printer_app.py: JOBS must be a number from 1, not {jobs}")
    jobs = int(jobs)
    with tempfile.TemporaryDirectory() as folder:
        os.chdir(folder)
        for variable in ("HOME", "TMPDIR", "SNAP_COMMON", "XDG_DATA_HOME", "ORV_REGISTRY_DIR", "ORV_CONFIG_DIR"):
            os.environ[variable] = folder
        pathlib.Path("print.test").write_text(PRINT)
        page = Image.open(examples + "/label_page.png")
        for dpi, size in SIZES.items():
            pathlib.Path(str(dpi)).mkdir()
            page.resize(size, Image.LANCZOS).save("page.png")
            subprocess.run([documents, "page.png", str(dpi), str(dpi)], check=True)
            model = f"orv_conf_two{dpi}.xml"
            shutil.copy(examples + "/orv_conf_dx600p.xml", model)
            for axis in "XY":
                subprocess.run([orv, "-q", "config", "set", model, "resolutionDpi" + axis, str(dpi)],
                               stdout=subprocess.DEVNULL, check=True)
        print(f"{'':44} {'ms':>8} {'CPU ms':>8} {'MiB':>8} {'bytes':>9}")
        sink = Sink()
        for dpi in SIZES:
            size = f"{SIZES[dpi][0]} x {SIZES[dpi][1]}"
            # One server for each row, so that the memory is that of the row.
            for what, document in (("black", "grey.pwg"), ("two planes", "colour.pwg")):
                server = Server(application, ["-o", f"state-dir={folder}/{dpi}-{document}"])
                server.add("label", f"two{dpi}", sink)
                measure(f"orv-printer-app, {size}, {what}", server, "label", f"{dpi}/{document}", sink, jobs)
                server.stop()
            server = Server("lprint", ["-o", f"spool-directory={folder}/lprint{dpi}"])
            # LPrint keeps its printers elsewhere.
            name = f"bench-{os.getpid()}-{dpi}"
            server.add(name, f"zpl_4inch-{dpi}dpi-tt", sink)
            measure(f"LPrint, {size}, black", server, name, f"{dpi}/grey.pwg", sink, jobs)
            server.stop()


main()

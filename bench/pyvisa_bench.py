"""pyvisa-py's figures on the same simulator: block throughput over the
socket and *IDN? round trips over both transports, with peak memory."""
import resource
import sys
import time

import pyvisa
from pyvisa_py.protocols import rpc

socket_res, pmap_port, block_bytes, rounds = sys.argv[1], int(sys.argv[2]), int(sys.argv[3]), int(sys.argv[4])
# The simulator's port mapper is not on 111 here.
rpc.PMAP_PORT = pmap_port
vxi_res = "TCPIP::127.0.0.1::inst0::INSTR"

rm = pyvisa.ResourceManager("@py")


def line(name, value, unit):
    print("pyvisa-py %s = %.1f %s" % (name, value, unit), flush=True)


def open_res(res):
    inst = rm.open_resource(res)
    inst.timeout = 120000
    if res.endswith("SOCKET"):
        inst.read_termination = "\n"
        inst.write_termination = "\n"
    return inst


inst = open_res(socket_res)
t0 = time.perf_counter()
data = inst.query_binary_values("MMEM:DATA? 'big.bin'", datatype="B", container=bytes)
secs = time.perf_counter() - t0
if len(data) != block_bytes:
    print("pyvisa-py block: got %d of %d bytes" % (len(data), block_bytes))
line("socket block throughput (%d MiB)" % (block_bytes >> 20), len(data) / secs / 1e6, "MB/s")
del data
line("socket block peak memory", resource.getrusage(resource.RUSAGE_SELF).ru_maxrss / 1024.0, "MiB")

for name, res in (("socket", socket_res), ("VXI-11", vxi_res)):
    inst = open_res(res)
    t0 = time.perf_counter()
    for _ in range(rounds):
        inst.query("*IDN?")
    line("*IDN? %s" % name, rounds / (time.perf_counter() - t0), "round trips/s")
    inst.close()

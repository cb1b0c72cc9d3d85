"""An outside VISA client (pyvisa-py) asking the simulator who it is and for
a block, over VXI-11 or a raw socket. Prints one line per check."""
import sys

import pyvisa

resource, block_file, expected = sys.argv[1], sys.argv[2], sys.argv[3]
rm = pyvisa.ResourceManager("@py")
inst = rm.open_resource(resource)
inst.timeout = 5000
if resource.endswith("SOCKET"):
    inst.read_termination = "\n"
    inst.write_termination = "\n"
idn = inst.query("*IDN?").strip()
print("idn", idn)
data = inst.query_binary_values(
    "MMEM:DATA? '%s'" % block_file, datatype="B", container=bytes, expect_termination=True
)
want = open(expected, "rb").read()
print("block", len(data), "match" if data == want else "DIFFERENT")
inst.close()
rm.close()

"""The Python side of python_bench: the create-and-persist workload of
profile_bench (a project with COUNT parts of five attributes each, checked
in at once) written with the vqkudm package. Prints the seconds the work
took, without the interpreter's start and the repository's opening.

    python3 python_create_and_persist.py DIR COUNT
"""

import sys
import time

import vqkudm

directory, count = sys.argv[1], int(sys.argv[2])
with vqkudm.open(name="bench", base_dir=directory) as repo:
    start = time.perf_counter()
    project = repo.create("UDMProject", "bench")
    for i in range(count):
        repo.create("UDMPart", f"part-{i}", parent=project, group="parts", material="steel", mass=1.5 + i,
                    partnumber=f"PN-{i}", status="released", description="benchmark part")
    project.checkin("bench", recursive=True)
    print(time.perf_counter() - start)

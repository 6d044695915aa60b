# In gdb, connected with debugged.c: single-steps a round of the caller, with a backtrace at each place; then steps by
# lines.
import os

import gdb

# Behind the emulated instructions of the leaf: in the first round they trap, from the second on they are rewritten.
behind = int(gdb.parse_and_eval("(long)&leaf")) + 4 * 4
gdb.execute(f"break *{behind}")
gdb.execute("continue")
counts, sources = {}, set()
while True:
    gdb.execute("stepi", to_string=True)
    pc = gdb.selected_frame().pc()
    if pc == behind:
        break
    name = gdb.selected_frame().name()
    if name == "caller":
        continue
    place = name if name in ("leaf", "sve_platform_call") else "the emulator" if gdb.solib_name(pc) else "trampoline"
    # Where the program's stack lies below the platform's, gdb shows one frame of it from within the platform's.
    backtrace = gdb.execute("bt", to_string=True)
    needed = ["leaf ("] if place in ("the emulator", "sve_platform_call") else ["leaf (", "caller (", "main ("]
    right = all(function in backtrace for function in needed)
    counts.setdefault(place, []).append(right)
    source = gdb.selected_frame().find_sal().symtab
    sources.add(source and os.path.basename(source.filename))
for place, right in sorted(counts.items()):
    print(f"{place}: {'right' if all(right) and len(right) > 4 else f'{sum(right)} right of {len(right)}'}")
print("lines:", "right" if {"call.S", "sve_client.cpp"} <= sources else "none of the libraries'")

gdb.execute("break leaf")
gdb.execute("continue")
gdb.execute("delete")
gdb.execute("next", to_string=True)
print("next:", gdb.selected_frame().name(), gdb.selected_frame().pc() > behind - 4)
gdb.execute("kill")

# In gdb, connected with debugged.c: single-steps from one call of the leaf to the next, with a backtrace at each
# place; then steps by lines.
import gdb

gdb.execute("break leaf")
gdb.execute("continue")
gdb.execute("continue")  # from the second round on the instructions are rewritten
counts = {}
while True:
    gdb.execute("stepi", to_string=True)
    pc = gdb.selected_frame().pc()
    name = gdb.selected_frame().name()
    if name == "caller":
        break
    place = name if name in ("leaf", "sve_platform_call") else "the emulator" if gdb.solib_name(pc) else "trampoline"
    # Where the program's stack lies below the platform's, gdb shows one frame of it from within the platform's.
    backtrace = gdb.execute("bt", to_string=True)
    needed = ["leaf ("] if place in ("the emulator", "sve_platform_call") else ["leaf (", "caller (", "main ("]
    right = all(function in backtrace for function in needed)
    counts.setdefault(place, []).append(right)
for place, right in sorted(counts.items()):
    print(f"{place}: {'right' if all(right) and len(right) > 4 else f'{sum(right)} right of {len(right)}'}")


gdb.execute("continue")
for _ in range(2):
    gdb.execute("next", to_string=True)
print("next:", gdb.selected_frame().name())
gdb.execute("kill")

# Frames of a program under sverun, for gdb:  source sverun-gdb.py
#
# An emulated instruction is a branch to a trampoline, which has no unwind information and no symbol. With these
# unwinders its caller is the function that has the instruction, as if the instruction were a call: `next`,
# `finish` and backtraces work, also from a stop inside the emulator. SIGILL is how instructions are met, until they
# are rewritten; gdb passes it on without a word.
import gdb
import gdb.unwinder

gdb.execute("handle SIGILL nostop noprint pass", to_string=True)

LONGEST, CHUNK, HEADER, REACH = 16 << 10, 64 << 10, 16, 128 << 20  # bytes of trampolines
STP_27_30, LDP_27_30 = 0xA9BF7BFB, 0xA8C17BFB  # the frame of translated code, on the program's stack
BLR_X16 = 0xD63F0200  # the call in it
PUSH, POP = 0xF81F0FE0, 0xF84107E0  # of a borrowed register, which is to be added
STP_29_30, LDP_20_21, LDP_29_30 = 0xA9007B7D, 0xA9405774, 0xA9407B7D  # to and from [x27, ...]
STR_IN_STATE, STP_IN_STATE = 0xF9000360, 0xA9000360  # [x27, ...]
STATE, RETURNS_TO = 32, 112  # bytes, in x21's thread area: the pointer to the state, where the call returns to
STATE_SP = 31 * 8  # bytes, in the state


def unsigned(address, size):
    return int.from_bytes(gdb.selected_inferior().read_memory(address, size), "little")


def value(number):
    return gdb.Value(number).cast(gdb.lookup_type("unsigned long"))


def branch_target(address):
    """Where the unconditional branch at an address leads to; None if there is none."""
    try:
        word = unsigned(address, 4)
    except gdb.MemoryError:
        return None
    distance = word & 0x3FFFFFF
    return address + 4 * (distance - (distance >> 25 << 26)) if word >> 26 == 5 else None


def trampoline_of(pc):
    """Where the program goes on behind the trampoline that this is a place in, the trampoline's first word, and its
    words; None if there is none. In front of the words stand the address that branches there, and their number."""
    lowest = max(pc - LONGEST, pc & ~(CHUNK - 1))
    try:
        memory = gdb.selected_inferior().read_memory(lowest, pc - lowest + 4).tobytes()
        for start in range(pc & ~15, lowest + HEADER - 1, -16):
            at = start - HEADER - lowest
            site = int.from_bytes(memory[at : at + 8], "little")
            if site == 0 or site % 4 or abs(site - start) >= REACH or branch_target(site) != start:
                continue
            count, exit = unsigned(start - 8, 2), unsigned(start - 6, 2)
            words = [unsigned(start + 4 * i, 4) for i in range(count)]
            return branch_target(start + 4 * exit), start, words
    except gdb.MemoryError:
        pass
    return None


def is_ahead(words, pair):
    return any(word & 0xFFC07FFF == pair for word in words)


class FrameId:
    def __init__(self, sp, pc):
        self.sp, self.pc = sp, pc


def translated(frame, behind, start, words):
    """The program's registers at a place in translated code: some are in the state, which X27 points to then."""
    place, sp = (int(frame.read_register("pc")) - start) // 4, int(frame.read_register("sp"))
    registers = {number: frame.read_register(f"x{number}") for number in range(31)}
    if place > 0 and words[place - 1] != LDP_27_30:
        registers[27], registers[30] = value(unsigned(sp, 8)), value(unsigned(sp + 8, 8))
        sp += 16
        state = int(frame.read_register("x27"))
        for word in words[:place]:
            first, second, offset = word & 31, word >> 10 & 31, (word >> 10 & 0xFFF) * 8
            if word & 0xFFC003E0 == STR_IN_STATE and offset == 8 * first:
                registers[first] = value(unsigned(state + offset, 8))
            if word & 0xFFC003E0 == STP_IN_STATE and word >> 15 & 0x7F == first:
                registers[first] = value(unsigned(state + 8 * first, 8))
                registers[second] = value(unsigned(state + 8 * second, 8))
    caller = frame.create_unwind_info(FrameId(value(sp), value(start)))
    for number, content in registers.items():
        caller.add_saved_register(f"x{number}", content)
    caller.add_saved_register("sp", value(sp))
    caller.add_saved_register("pc", value(behind))
    return caller


class Trampoline(gdb.unwinder.Unwinder):
    def __call__(self, frame):
        pc = int(frame.read_register("pc"))
        if gdb.solib_name(pc) or gdb.block_for_pc(pc):
            return None
        found = trampoline_of(pc)
        if not found:
            return None
        behind, start, words = found
        if words[0] == STP_27_30:
            return translated(frame, behind, start, words)
        words = words[(pc - start) // 4 :]
        sp = int(frame.read_register("sp"))
        # X26 to X28 are on their way between several places, and left out.
        numbers = [*range(26), 29, 30]
        if not is_ahead(words, STP_29_30) and is_ahead(words, LDP_29_30):
            state = int(frame.read_register("x27"))
            if BLR_X16 not in words and is_ahead(words, LDP_20_21):
                state = unsigned(int(frame.read_register("x21")) + STATE, 8)
            registers = {number: value(unsigned(state + 8 * number, 8)) for number in numbers}
        else:
            registers = {number: frame.read_register(f"x{number}") for number in numbers}
            loans = [word for word in words if word & ~31 in (PUSH, POP)]
            if loans and loans[0] & ~31 == POP:
                registers[loans[0] & 31] = value(unsigned(sp, 8))
                sp += 16
        caller = frame.create_unwind_info(FrameId(value(sp), value(start)))
        for number, content in registers.items():
            caller.add_saved_register(f"x{number}", content)
        caller.add_saved_register("sp", value(sp))
        caller.add_saved_register("pc", value(behind))
        return caller


class Call(gdb.unwinder.Unwinder):
    """The function of the platform that calls the client on its own stack."""

    def __call__(self, frame):
        pc = int(frame.read_register("pc"))
        try:
            start, end = (int(gdb.parse_and_eval(f"(long)&sve_platform_call{which}")) for which in ("", "_end"))
        except gdb.error:
            return None
        if not start <= pc < end:
            return None
        area = int(frame.read_register("x21"))
        found = trampoline_of(int(frame.read_register("x30")) if pc == start else unsigned(area + RETURNS_TO, 8))
        if not found:
            return None
        state = unsigned(area + STATE, 8)
        sp = value(unsigned(state + STATE_SP, 8))
        caller = frame.create_unwind_info(FrameId(frame.read_register("sp"), value(start)))
        for number in range(31):
            # X26 to X28 are in the spill slots, at the beginning of the area.
            place = area + 8 * (number - 26) if 26 <= number <= 28 else state + 8 * number
            caller.add_saved_register(f"x{number}", value(unsigned(place, 8)))
        caller.add_saved_register("sp", sp)
        caller.add_saved_register("pc", value(found[0]))
        return caller


for unwinder in (Trampoline("sverun trampoline"), Call("sverun call")):
    gdb.unwinder.register_unwinder(None, unwinder, replace=True)

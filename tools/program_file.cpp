// Finding the file of a program, and telling from its content whether it can be run.
#include "tools/program_file.h"

#include "tools/refusal.h"

#include <algorithm>
#include <bit>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <elf.h>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <paths.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace sverun {
namespace {

// The structures of an AArch64 program file are read as they lie.
static_assert(std::endian::native == std::endian::little);

bool may_execute(const std::string &path) {
    return faccessat(AT_FDCWD, path.c_str(), X_OK, AT_EACCESS) == 0;
}

bool is_regular_file(const std::string &path) {
    std::error_code ignored;
    return std::filesystem::is_regular_file(path, ignored);
}

// Fills `object` with the bytes at `offset`. False if the file ends before; `file` stays usable.
template <typename T>
bool read_at(std::ifstream &file, uint64_t offset, T *object, size_t bytes) {
    file.clear();
    file.seekg(static_cast<std::streamoff>(offset)); // fails where the offset is negative
    file.read(reinterpret_cast<char *>(object), static_cast<std::streamsize>(bytes));
    return !file.fail();
}

std::string machine_name(unsigned machine) {
    static constexpr std::pair<unsigned, const char *> names[] = {
        {EM_386, "32-bit x86"},       {EM_X86_64, "x86-64"},      {EM_ARM, "32-bit Arm"},
        {EM_RISCV, "RISC-V"},         {EM_PPC, "32-bit PowerPC"}, {EM_PPC64, "64-bit PowerPC"},
        {EM_S390, "IBM Z"},           {EM_MIPS, "MIPS"},          {EM_SPARC, "32-bit SPARC"},
        {EM_SPARCV9, "64-bit SPARC"}, {EM_IA_64, "Itanium"},
    };
    for (const auto &[number, name] : names)
        if (number == machine)
            return name;
    return "another processor (ELF machine " + std::to_string(machine) + ")";
}

// What is wrong with the header of a program file, of which `bytes` bytes are there; empty if it
// is that of a 64-bit AArch64 program.
std::string fault_of_header(const Elf64_Ehdr &header, size_t bytes) {
    if (bytes < SELFMAG || memcmp(header.e_ident, ELFMAG, SELFMAG) != 0) {
        if (bytes >= 2 && memcmp(header.e_ident, "#!", 2) == 0)
            return "a script: run its interpreter instead";
        return "not an ELF file; if it is a script, run its interpreter instead";
    }
    if (bytes < offsetof(Elf64_Ehdr, e_version))
        return "the file is truncated";

    // Type and machine lie at the same place in files of every class, in the byte order of theirs.
    const bool big_endian = header.e_ident[EI_DATA] == ELFDATA2MSB;
    const unsigned machine =
        big_endian ? __builtin_bswap16(header.e_machine) : unsigned{header.e_machine};
    if (machine != EM_AARCH64)
        return "built for " + machine_name(machine) + ", not for AArch64";
    if (big_endian)
        return "built for big-endian AArch64";
    if (header.e_ident[EI_CLASS] == ELFCLASS32)
        return "built for the 32-bit form of AArch64";
    if (header.e_ident[EI_CLASS] != ELFCLASS64 || header.e_ident[EI_DATA] != ELFDATA2LSB)
        return "the ELF header is malformed";

    switch (header.e_type) {
    case ET_EXEC:
    case ET_DYN:
        break;
    case ET_REL:
        return "an object file, not a program";
    case ET_CORE:
        return "a core dump, not a program";
    default:
        return "not a program (ELF type " + std::to_string(header.e_type) + ")";
    }
    if (bytes < sizeof header)
        return "the file is truncated";
    if (header.e_phentsize != sizeof(Elf64_Phdr))
        return "the ELF header is malformed";
    return "";
}

// An AArch64 program or library.
struct elf_file {
    std::ifstream content;
    Elf64_Ehdr header{};
    std::vector<Elf64_Phdr> segments;
};

// Throws a refusal if the file is none, or ends before what its headers speak of.
elf_file open_elf_file(const std::string &path) {
    elf_file result;
    auto &[file, header, segments] = result;
    const auto refused = [&](const std::string &why) {
        return refusal(status_cannot_run, path + ": " + why);
    };
    file.open(path, std::ios::binary);
    if (!file)
        throw refused(std::string("cannot be read: ") + strerror(errno));
    read_at(file, 0, &header, sizeof header);
    if (const std::string fault = fault_of_header(header, file.gcount()); !fault.empty())
        throw refused(fault);

    segments.resize(header.e_phnum);
    if (!read_at(file, header.e_phoff, segments.data(), segments.size() * sizeof(Elf64_Phdr)))
        throw refused("the file is truncated");
    for (const Elf64_Phdr &segment : segments) {
        char last;
        const uint64_t end = segment.p_offset + segment.p_filesz;
        if (segment.p_type == PT_LOAD && segment.p_filesz != 0 &&
            (end < segment.p_offset || !read_at(file, end - 1, &last, 1)))
            throw refused("the file is truncated");
    }
    return result;
}

} // namespace

std::string find_program(const std::string &word, const std::string &advice) {
    if (word.find('/') != std::string::npos) {
        struct stat file;
        int error = 0;
        if (stat(word.c_str(), &file) != 0)
            error = errno;
        else if (S_ISDIR(file.st_mode))
            error = EISDIR;
        else if (!S_ISREG(file.st_mode) || !may_execute(word))
            error = EACCES;
        if (error == ENOENT)
            throw refusal(status_not_found, word + ": " + strerror(error) + advice);
        if (error != 0)
            throw refusal(status_cannot_run, word + ": " + strerror(error));
        return word;
    }

    const char *variable = getenv("PATH");
    const std::string path = variable ? variable : _PATH_DEFPATH;
    std::string not_executable;
    for (size_t begin = 0, end; begin <= path.size() && !word.empty(); begin = end + 1) {
        end = std::min(path.find(':', begin), path.size());
        std::string candidate = path.substr(begin, end - begin);
        candidate += (candidate.empty() ? "./" : "/") + word; // an empty entry: working directory
        if (!is_regular_file(candidate))
            continue;
        if (may_execute(candidate))
            return candidate;
        if (not_executable.empty())
            not_executable = candidate;
    }
    if (!not_executable.empty())
        throw refusal(status_cannot_run, not_executable + ": " + strerror(EACCES));
    throw refusal(status_not_found, word + ": not found" + advice);
}

void require_library(const std::string &path) {
    open_elf_file(path);
}

uint64_t first_address_of(const std::string &path) {
    for (const Elf64_Phdr &segment : open_elf_file(path).segments)
        if (segment.p_type == PT_LOAD)
            return segment.p_vaddr - segment.p_offset;
    throw refusal(status_cannot_run, path + ": the ELF program headers are malformed");
}

std::string loader_of_program(const std::string &path) {
    const auto refused = [&](const std::string &why) {
        return refusal(status_cannot_run, path + ": " + why);
    };

    // The kernel starts these with rights of their own, and then the loader preloads nothing.
    struct stat status;
    if (stat(path.c_str(), &status) != 0)
        throw refused(strerror(errno));
    if (status.st_mode & (S_ISUID | S_ISGID))
        throw refused("a set-uid or set-gid program, which nothing can be preloaded into");
    if (getxattr(path.c_str(), "security.capability", nullptr, 0) >= 0)
        throw refused("a program with file capabilities, which nothing can be preloaded into");

    elf_file opened = open_elf_file(path);
    auto &[file, header, segments] = opened;
    for (const Elf64_Phdr &segment : segments) {
        if (segment.p_type != PT_INTERP)
            continue;
        // As the kernel has it: the text with its terminating zero, no longer than a path can be.
        if (segment.p_filesz < 2 || segment.p_filesz > PATH_MAX)
            throw refused("the ELF program headers are malformed");
        std::string loader(segment.p_filesz, '\0');
        if (!read_at(file, segment.p_offset, loader.data(), loader.size()))
            throw refused("the file is truncated");
        if (loader.front() == '\0' || loader.back() != '\0')
            throw refused("the ELF program headers are malformed");
        return loader.c_str(); // to its first zero
    }
    // A shared library differs from a static position-independent program in nothing certain.
    throw refused(std::string("statically linked") +
                  (header.e_type == ET_DYN ? ", or a shared library" : "") +
                  ": sverun needs a dynamically linked program");
}

} // namespace sverun

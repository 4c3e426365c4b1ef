"""The emulated router with /2ndfile on the kind of memory and the file system that are asked for, and nothing else
started: a chip of NOR flash, which the board has, or a drive. Both are files and keep what was written."""

import pathlib
import shutil
import subprocess

import machine
import parts

CHIP_SIZE = 4 << 20
SECTOR = 64 << 10  # what the chip erases at a time
# The emulator puts its boot loader into the first sector.
FIRST_SECTOR = 1
PARTITIONS = "mtdparts=1e000000.flash:64k(boot)ro,-(2ndfile)"
DRIVE_SIZE = 16 << 20

# The chip's partition, and that of NAND flash in the machine's memory, which is made later.
NOR, NAND = 1, 2
NAND_BLOCK = 128 << 10
NAND_CHIP = ("first_id_byte=0x20 second_id_byte=0xa2 third_id_byte=0x00 fourth_id_byte=0x15 "  # 64 MiB, pages of 2 KiB
             "parts=64")  # blocks of the first partition

# The board takes no more than 255 characters of a kernel's command line, so the rest is a script beside the programs.
START = "mount -t squashfs /dev/vdc /mnt;exec /mnt/start"

ATTACH_UBI = "ubiattach -m {mtd} /dev/ubi_ctrl && {{ [ -e /dev/ubi0_0 ] || ubimkvol /dev/ubi0 -N 2ndfile -m; }}"
MOUNTS = {"jffs2": "mount -t jffs2 -o {options} mtd{mtd} /2ndfile",
          "ubifs": ATTACH_UBI + " && mount -t ubifs -o {options} ubi0:2ndfile /2ndfile",
          "ext4": "mount -t ext4 -o {options} /dev/vdb /2ndfile"}


def mount_command(file_system, options=(), mtd=NOR):
    return MOUNTS[file_system].format(options=",".join(["rw", *options]), mtd=mtd)


def unmount_command(file_system):
    return "umount /2ndfile" + (" && ubidetach -d 0 /dev/ubi_ctrl" if file_system == "ubifs" else "")


def make_nand(bad=(), weak=None):
    """The command that makes the NAND flash. bad: blocks that nothing is to be kept in; weak: after how many erasures
    a block cannot be erased any more."""
    words = [f"badblocks={','.join(map(str, bad))}"] if bad else []
    if weak:
        words.append("weakblocks=" + ",".join(f"{block}:{count}" for block, count in weak.items()))
    return " ".join(["insmod /lib/modules/nandsim.ko", NAND_CHIP, *words])


def on_chip(file_system):
    return file_system != "ext4"


def make_medium(path, file_system, block_size):
    """An erased chip, on which JFFS2 and UBIFS make themselves, or a drive with ext4."""
    with open(path, "wb") as file:
        if on_chip(file_system):
            file.write(b"\xff" * CHIP_SIZE)
        else:
            file.truncate(DRIVE_SIZE)
    if not on_chip(file_system):
        subprocess.run(["mkfs.ext4", "-q", "-F", "-b", str(block_size), path], check=True)


def make_programs(folder, *files):
    """What the machine sees below /mnt."""
    folder = pathlib.Path(folder)
    folder.mkdir()
    shutil.copy(parts.HERE / "flash-start", folder / "start")
    for file in map(pathlib.Path, files):
        parts.run([f"{parts.CROSS}strip", "-o", folder / file.name, file], folder.with_suffix(".log"))


def machine_with(medium, file_system, programs, *, devices=(), **more):
    """programs: a folder of the host's, seen below /mnt"""
    chip = ("-drive", f"if=pflash,format=raw,file={medium},cache=writeback") if on_chip(file_system) else ()
    options = f'{PARTITIONS} init=/bin/sh -- -c "{START}"'
    return machine.Machine(flash=None if on_chip(file_system) else medium, flash_kind="none", share=programs,
                           devices=(*chip, *devices), kernel_options=options, **more)

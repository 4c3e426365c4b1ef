// SPDX-License-Identifier: GPL-2.0
// The LEDs of the emulated router, which has no lamps: their control files take one digit, as a board's
// driver has it, and give the last one back.

#include <linux/ctype.h>
#include <linux/init.h>
#include <linux/proc_fs.h>
#include <linux/seq_file.h>
#include <linux/uaccess.h>

static char digits[] = {'0', '0', '0'};
static const char *const files[] = {"lte_signal_flag", "internet_flag", "lte_sim_flag"};

static int show(struct seq_file *out, void *unused)
{
    seq_printf(out, "%c\n", *(char *)out->private);
    return 0;
}

static int open(struct inode *inode, struct file *file)
{
    return single_open(file, show, pde_data(inode));
}

static ssize_t write(struct file *file, const char __user *text, size_t size, loff_t *offset)
{
    char digit;

    if (size == 0 || get_user(digit, text))
        return -EFAULT;
    if (!isdigit(digit))
        return -EINVAL;
    *(char *)pde_data(file_inode(file)) = digit;
    return size;
}

static const struct proc_ops operations = {
    .proc_open = open,
    .proc_read = seq_read,
    .proc_lseek = seq_lseek,
    .proc_release = single_release,
    .proc_write = write,
};

static int __init make_files(void)
{
    size_t led;

    for (led = 0; led < ARRAY_SIZE(files); led++)
        if (!proc_create_data(files[led], 0644, NULL, &operations, &digits[led]))
            return -ENOMEM;
    return 0;
}
device_initcall(make_files);

// An image is made of libraries; the kit wants a source of its own in each.
typedef int RAIDXYL_IMAGE;

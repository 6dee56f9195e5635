// The controller over disk images.
#include "tests/client/client.h"
#include "tests/support/paths.h"

static const std::string UNPACK = "!" + sourceDir() + "/tests/firmware/unpack_disks.py " + goldenDir() + "/";

TEST(Disks, AreServedLikeAnyController) {
  Client client("empty");
  const std::string disks = " --disk 0.img --disk 1.img --disk 2.img --disk 3.img --disk 4.img";
  client.expect({"0 " + UNPACK + "rebuilding.disks . && cksum *.img >before.txt",
                 "0 list" + disks + " => RAID over the machine's disks|2 Degraded|3 Online",
                 "0 show" + disks + " => 5 disks|Failed|Degraded|mirror|RAID 1 |parity|RAID 5 ",
                 "0 get" + disks + " -o disks.xml", "0 verify disks.xml" + disks, "0 diff disks.xml" + disks,
                 "0 plan disks.xml --rebuild" + disks + " => mirror|parity", "0 report" + disks + " -o report.html",
                 // Ports follow the order of the options, disks are known by their metadata.
                 "0 show --disk 4.img --disk 3.img --disk 2.img --disk 1.img --disk 0.img => Degraded|Failed",
                 "0 show --disk 1.img --disk 2.img => parity|Failed", "0 !cksum *.img | cmp - before.txt",
                 "0 !truncate -s 64M blank.img", "0 show --disk blank.img => Ready|Virtual disks: 0",
                 // As QEMU locks what a machine writes to: it may be read.
                 "0 !python3 -c 'import fcntl, struct, subprocess\n"
                 "with open(\"0.img\", \"r+b\") as image:\n"
                 "  fcntl.fcntl(image, 37, struct.pack(\"hhqqixxxx\", fcntl.F_RDLCK, 0, 101, 1, 0))\n"
                 "  assert subprocess.call([\"xyl\", \"show\", \"--disk\", \"0.img\"]) == 0\n"
                 "  assert subprocess.call(\"xyl delete 1 --yes --disk 0.img 2>&1\", shell=True) == 3' "
                 "=> another program works on it",
                 "3 list --disk gone.img => 'gone.img' cannot be used: No such file",
                 "3 list --disk /dev/null => neither a file nor a block device",
                 "0 !flock 0.img sh -c 'xyl show --disk 0.img 2>&1; test $?  = 3' => another program works on it",
                 "2 list --disk 0.img --preset demo => exclude each other"});
}

// Blank disks become volumes, and what was saved comes back on two fresh ones in other ports.
TEST(Disks, AreSetUpAndRestored) {
  Client client("empty");
  const std::string disks = " --disk 0.img --disk 1.img --disk 2.img --disk 3.img";
  const std::string others = " --disk 2.img --disk 3.img --disk 4.img --disk 5.img";
  client.expect({"0 !truncate -s 64M 0.img 1.img 2.img 3.img 4.img 5.img",
                 "0 create --level 1 --disks 1025000,1025001 --name sys --size 8MB --cache 'write back'" + disks,
                 "0 create --level 0 --disks 1025002 --name scratch --size 8MB" + disks,
                 "2 create --level 0 --disks 1025002 --name rest" + disks + " => beside which there is room: AT RISK",
                 "0 create --level 0 --disks 1025002 --name rest --yes" + disks + " => creation succeeded",
                 "4 create --level 0 --disks 1025002 --name more --yes" + disks + " => Online and full",
                 "0 spare 1025003" + disks, "0 set 'copy back=on'" + disks,
                 "4 create --level 1 --count 2 --name 'a b'" + disks, "0 get -o kept.xml" + disks,
                 "0 restore kept.xml --rebuild --yes" + others,
                 "0 show" + others + " => global spare|sys |8.00 MB|WB|scratch ",
                 "0 verify kept.xml" + others + " => no difference",
                 "4 spare 251:0 --disk 1.img => a hot spare has to be Ready, and no disk is",
                 // What the volumes held is nobody's any more; what nobody knows is somebody's.
                 "0 !dd if=/dev/urandom of=4.img bs=1M count=3 conv=notrunc 2>/dev/null",
                 "0 delete sys scratch rest --yes" + others, "0 show" + others + " => Virtual disks: 0",
                 "0 create --level 0 --disks 1025002 --name again" + others,
                 "0 !dd if=/dev/urandom of=6.img bs=1M count=64 2>/dev/null",
                 "4 create --level 0 --disks 1025000 --name x --disk 6.img => 1025000 (251:0) is Offline",
                 "0 show --disk 6.img => Offline"});
}

// Each half of a mirror was used alone. What one has and the other one does not know stays until one of them is wiped.
TEST(Disks, TellOfHalvesThatWereChangedApart) {
  const std::string both = " --disk 0.img --disk 1.img";
  for (const std::string loser : {"0", "1"}) {
    Client client("empty");
    const std::string wipe = " create --wipe --level 0 --name new --disks 251:" + loser;
    client.expect(
        {"0 !truncate -s 64M 0.img 1.img", "0 create --level 1 --disks 251:0,251:1 --name sys --size 8MB" + both,
         "0 create --level 0 --disks 251:0 --name left --size 8MB --yes --disk 0.img",
         "0 create --level 0 --disks 251:0 --name right --size 8MB --yes --disk 1.img",
         "0 show" + both + " => Online|(some disks of its set|Offline|(changed apart from its set)|Degraded",
         "0 !cksum *.img >before.txt", "4 create --level 0 --disks 251:0 --yes" + both + " => Access Denied",
         "4 delete left --yes" + both + " => Access Denied", "0 !cksum *.img | cmp - before.txt",
         "0" + wipe + " --yes" + both + " => changed apart|creation succeeded",
         "0 show" + both + " => Virtual disks: 3|sys |" + (loser == "1" ? "left" : "right") + " |new |Online"});
  }
}

TEST(Disks, AreWipedForAVirtualDiskWhenAPersonAgrees) {
  Client client("empty");
  std::string disks, names;
  for (int i = 0; i < 16; ++i) {
    disks += " --disk " + std::to_string(i) + ".img";
    names += i < 15 ? ",251:" + std::to_string(i) : "";
  }
  std::string create = " create --wipe --level 0 --name all --disks " + names.substr(1) + disks;
  std::string members = " --disk 1.img --disk 2.img";
  // Everything that disks may carry, and a sixteenth one that is too small.
  client.expect({"0 " + UNPACK + "contents.disks . 2>/dev/null; cksum *.img >before.txt",
                 "3 create --wipe --level 0 --disks 251:99" + disks + " => no disk '251:99'",
                 "2 create --wipe --level 0 --count 2" + disks + " => --wipe goes with --disks",
                 "4 create --wipe --level 0 --disks 301:0 --preset demo => controller does not tell",
                 "4 create --wipe --yes --level 0 --disks 251:15" + disks + " => not what is on it",
                 "4 create --wipe --yes --level 0 --disks 251:0 --size 900GB" + disks + " => more than",
                 "2" + create + " => is lost|(251:5), 100.66 MB: ext file system|GPT|give --yes. Nothing was changed",
                 "0 !cksum *.img | cmp - before.txt", "0" + create + " --show => <OID>1025014</OID>",
                 "0 !cksum *.img | cmp - before.txt", "0" + create + " --yes => creation succeeded",
                 "0 show" + disks + " => Virtual disks: 1|all|RAID 0",
                 // Members are not wiped.
                 "0 " + UNPACK + "rebuilding.disks .", "0 !cksum [12].img >before.txt",
                 "4 create --wipe --yes --level 0 --disks 251:0,251:1" + members + " => belongs to a set",
                 "0 !cksum [12].img | cmp - before.txt"});
}

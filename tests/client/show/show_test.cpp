// What the controller holds, as tables that fit.
#include "tests/client/client.h"

TEST(Show, ShowsWhatTheControllerHolds) {
  Client client("demo");
  client.expect(
      {"0 !cp lab.json box.json; xyl sim pull box.json 1003; xyl sim replace-disk box.json 1012",
       "0 list --controller box.json =>   1  Harrier R6 Integrated, PCI 03:00.0, WWN 5EEDADA000001000\n     "
       "virtual disks: 2 Online, 3 Degraded\n     disks: ",
       "0 identify -c 1 --preset demo => revision 1\nwords    00000001 00000004 000000DC EDCC0002 00000000\n",
       "0 get --preset=demo --output=demo.xml => demo.xml: Harrier R6 Integrated, PCI 03:00.0, WWN 5EED|, read 2",
       "0 !xyl --preset demo get | cmp - demo.xml && cmp demo.xml saved.xml",
       "0 show --preset demo => Adapter      Harrier R6 Integrated\nFirmware     21.3.4-0001\n|"
       "RAID levels  RAID 0, RAID 1, RAID 5, RAID 6, RAID 10, RAID 50, RAID 60\nKey id       demo-key-1\n|"
       "Enclosure 301, Shelf 0: 12 slots, 11 disks\n|"
       "     2  1003  HARRIER HS10K Enterprise  SAS     2.00 TB  Online  VD 2, 3\n|"
       "     6  1007  HARRIER HS10K Enterprise  SAS     2.00 TB  Ready   spare of VD 2\n|"
       "     7  1008  HARRIER HS10K Enterprise  SAS     2.00 TB  Ready   global spare\n|"
       "     8  1020  -                       SATA    4.00 TB  Ready   -\n|"
       "   1  System   RAID 1   600.12 GB  Online  WB ARA DIO  1001, 1002\n",
       "0 !xyl show --preset demo >shown; xyl show -- saved.xml | cmp - shown",
       "0 !xyl show --preset demo --log trace 2>log | cmp - shown && cat log => TRACE RAIDXYLGet_Live: Exit. Success",
       "0 show --preset direct => \nDirectly attached disks: 8\n",
       "0 show --preset empty => Key id       -\n\nVirtual disks: 0\n"});
}

TEST(Show, TablesFitWhateverTheNames) {
  Client client("demo");
  client.expect({"0 sim pull lab.json 1003",
                 "0 !xyl get $LAB | sed 's/<Name>Data</<Name>D\\&#195;\\&#164;t and quite a lot more</; "
                 "s/<Slot>4</<Slot>14</' >odd",
                 "0 show odd =>     10  1011  |    14  1005  |"
                 "   2  D\xC3\xA4t and quite...  RAID 5     4.00 TB  Degraded  WB ARA DIO  1003 missing,\n|"
                 "  1004, 1005,\n|  1006\n   3  Scratch           RAID 5     2.00 TB",
                 "1 !LC_ALL=C.UTF-8; export LC_ALL; xyl show odd | grep -aE '.{81}'",
                 "1 !LC_ALL=C.UTF-8; export LC_ALL; COLUMNS=50 xyl show odd | grep -aE '^ .{50}'",
                 "0 !COLUMNS=50 xyl show odd => 1004  HARRIER ...  SAS  |  Online\n      VD 2, 3\n|Degraded  WB ...\n  "
                 "    1003 missing, 1004, 1005, 1006\n"});
}

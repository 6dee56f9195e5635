need $BUILD_PACKAGES $EFI_PACKAGES $LINUX_PACKAGES $FIRMWARE_PACKAGES $PICTURE_PACKAGES $REPORT_PACKAGES
build_efi
build release --target xyl
tests/linux/make_guest.sh
mkdir -p build/pictures
say "the pages in the setup"
/usr/bin/python3 -B tests/firmware/make_pictures.py build/efi build/pictures docs/pictures
say "a restore in a terminal, and its report"
/usr/bin/python3 -B tools/record.py docs/stories/restore.md run docs/pictures/restore.svg \
  report.html build/pictures/report.html
chromium --headless --no-sandbox --disable-gpu --hide-scrollbars --window-size=1280,880 \
  --screenshot=docs/pictures/report.png "file://$PWD/build/pictures/report.html" 2>build/pictures/chromium.log
say "a boot from a degraded volume in a terminal"
/usr/bin/python3 -B tools/record.py docs/stories/boot.md run docs/pictures/boot.svg

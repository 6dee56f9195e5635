need $EFI_PACKAGES $PICTURE_PACKAGES
build efi-x64
/usr/bin/python3 -B tests/firmware/make_pictures.py build/efi build/pictures docs/pictures

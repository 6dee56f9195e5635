build_efi
python3 bench/sizes.py build/efi-x64 build/efi-aarch64

. tools/commands/install.sh

// What certification tests do to a driver, on the images that are loaded.
#pragma once

#include "uefi/protocols.h"

// Connects the driver under test to every handle; others that would like to manage it may as well.
void connectEverywhere(BOOLEAN recursive);

// Supported on every handle: EFI_ALREADY_STARTED where the driver serves, an error elsewhere, and nothing changes.
void checkSupportedAnswers();

// Disconnects the driver (null: all drivers) from every handle, connects, and connects again.
void checkReconnect(EFI_HANDLE driver);

// Pool blocks that the simulated controller holds, answers that are out included.
UINT64 simBlocks();

// Names in a foreign language. What the firmware keeps of them is added to *keptBlocks.
void checkNames(UINT64 *keptBlocks);

// Two inventories are read, are equal and end in the root's closing tag.
void checkInventory();

// The log provider kept lines of the driver.
void checkLog();

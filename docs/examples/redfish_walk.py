#!/usr/bin/python3
"""Reads storage with sushy, a Redfish client: the service's address is the argument, or stands in the variable REDFISH."""
import os
import sys

import sushy
import sushy.auth


def health(resource):
    status = resource.json["Status"]
    return f"{status.get('State', '-')}, {status['Health']}"


def main():
    address = sys.argv[1] if len(sys.argv) > 1 else os.environ["REDFISH"]
    root = sushy.Sushy(address, auth=sushy.auth.BasicAuth("anybody", "anything"), verify=False)
    for system in root.get_system_collection().get_members():
        print(f"{system.name}: HealthRollup {system.status.health_rollup.value}")
        for storage in system.storage.get_members():
            for controller in storage.controllers.get_members():
                print(f"  controller {controller.name}, {', '.join(kind.value for kind in controller.raid_types)}")
            for drive in storage.drives:
                print(f"  drive {drive.identity} {drive.name}: {drive.capacity_bytes} bytes, {health(drive)}")
            for volume in storage.volumes.get_members():
                print(f"  volume {volume.identity} {volume.name}: {volume.raid_type.value}, "
                      f"{volume.capacity_bytes} bytes, {health(volume)}")


main()

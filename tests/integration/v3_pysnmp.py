"""SNMPv3 through pysnmp, a second implementation of the user-based security model.

usage: v3_pysnmp.py PORT USER AUTH PRIV PASSWORD VALUE
  AUTH: none, md5, sha, sha224, sha256, sha384 or sha512; PRIV: none, des or aes (both keys use PASSWORD).
Gets sysDescr, sets sysContact to VALUE, reads it back and bulk-reads the system group;
prints one line per step and exits non-zero at the first failure.
"""
import sys

from pysnmp.hlapi import (
    ContextData, ObjectIdentity, ObjectType, OctetString, SnmpEngine, UdpTransportTarget,
    UsmUserData, bulkCmd, getCmd, setCmd, usmAesCfb128Protocol, usmDESPrivProtocol,
    usmHMAC128SHA224AuthProtocol, usmHMAC192SHA256AuthProtocol, usmHMAC256SHA384AuthProtocol,
    usmHMAC384SHA512AuthProtocol, usmHMACMD5AuthProtocol, usmHMACSHAAuthProtocol,
    usmNoAuthProtocol, usmNoPrivProtocol)

AUTH = {"none": usmNoAuthProtocol, "md5": usmHMACMD5AuthProtocol, "sha": usmHMACSHAAuthProtocol,
        "sha224": usmHMAC128SHA224AuthProtocol, "sha256": usmHMAC192SHA256AuthProtocol,
        "sha384": usmHMAC256SHA384AuthProtocol, "sha512": usmHMAC384SHA512AuthProtocol}
PRIV = {"none": usmNoPrivProtocol, "des": usmDESPrivProtocol, "aes": usmAesCfb128Protocol}
SYSTEM = "1.3.6.1.2.1.1"


def check(step, result):
    error, status, index, binds = result
    if error or status:
        print(f"{step}: {error or status.prettyPrint()} at {index}")
        sys.exit(1)
    return binds


def main():
    port, user, auth, priv, password, value = sys.argv[1:7]
    engine = SnmpEngine()
    usm = UsmUserData(user, password if auth != "none" else None,
                      password if priv != "none" else None,
                      authProtocol=AUTH[auth], privProtocol=PRIV[priv])
    target = UdpTransportTarget(("127.0.0.1", int(port)), timeout=2, retries=1)
    ctx = ContextData()

    binds = check("get", next(getCmd(engine, usm, target, ctx, ObjectType(ObjectIdentity(SYSTEM + ".1.0")))))
    print("get sysDescr:", binds[0][1].prettyPrint())
    check("set", next(setCmd(engine, usm, target, ctx,
                             ObjectType(ObjectIdentity(SYSTEM + ".4.0"), OctetString(value)))))
    binds = check("get back", next(getCmd(engine, usm, target, ctx, ObjectType(ObjectIdentity(SYSTEM + ".4.0")))))
    if str(binds[0][1]) != value:
        print("sysContact read back differs")
        sys.exit(1)
    print("set and read back sysContact")
    names = []
    for result in bulkCmd(engine, usm, target, ctx, 0, 10, ObjectType(ObjectIdentity(SYSTEM)),
                          lexicographicMode=False):
        names += [str(b[0]) for b in check("bulk", result)]
    if len(names) != 7:
        print("bulk of the system group:", names)
        sys.exit(1)
    print("bulk of the system group: 7 objects")


main()

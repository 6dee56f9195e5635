"""The tag of an image: CoSWID (RFC 9393), whose members are numbers."""
TAG_ID, TAG_VERSION, NAME, VERSION, VERSION_SCHEME = 0, 12, 1, 13, 14
ENTITY, LINK, PAYLOAD = 2, 4, 6
ENTITY_NAME, ROLE = 31, 33
HREF, REL = 38, 40
FILE, FILE_NAME, HASH = 17, 24, 7
TAG_CREATOR, SOFTWARE_CREATOR = 1, 2  # roles
SEMANTIC_VERSIONS = 16384
COMPILER = -1  # a relation of private use
SHA_256 = 1  # of the registry of Named Information hashes

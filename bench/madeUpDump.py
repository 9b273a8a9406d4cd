"""A made-up dump of a kernel's next-hop objects, in the form that `ip -j` prints."""
import json

DEVICES = 64
NEIGHBOURS_PER_DEVICE = 200


def address(device, host):
    return f'10.{device}.{host // 250}.{host % 250 + 1}'


def mac(device, host):
    return f'02:00:00:{device:02x}:{host // 256:02x}:{host % 256:02x}'


def links():
    return [{'ifindex': device + 2, 'ifname': f'e{device}', 'flags': ['BROADCAST', 'MULTICAST', 'UP', 'LOWER_UP'],
             'mtu': 1500, 'operstate': 'UP', 'link_type': 'ether', 'address': mac(device, 65535),
             'broadcast': 'ff:ff:ff:ff:ff:ff'} for device in range(DEVICES)]


def neighbours():
    return [{'dst': address(device, host), 'dev': f'e{device}', 'lladdr': mac(device, host), 'state': ['REACHABLE']}
            for device in range(DEVICES) for host in range(NEIGHBOURS_PER_DEVICE)]


def objects(nexthops, groups, members):
    common = {'scope': 'link', 'protocol': 'static', 'flags': []}
    for i in range(nexthops):
        device = i % DEVICES
        yield {'id': i + 1, 'gateway': address(device, i // DEVICES % NEIGHBOURS_PER_DEVICE), 'dev': f'e{device}',
               **common}
    for i in range(groups):
        yield {'id': nexthops + i + 1, 'group': [{'id': (i * members + k) % nexthops + 1} for k in range(members)],
               **common}


def write(folder, nexthops, groups, members):
    """Writes the dump's three files into `folder` and returns their names."""
    dump = {'nexthop.json': list(objects(nexthops, groups, members)), 'neigh.json': neighbours(),
            'link.json': links()}
    for name, content in dump.items():
        (folder / name).write_text(json.dumps(content, separators=(',', ':')))
    return [folder / name for name in dump]

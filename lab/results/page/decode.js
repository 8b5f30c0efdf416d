// A frame's bytes, field by field, under the names that the dissector for Wireshark gives them.
const operations = {1000: 'hello', 1001: 'base key', 1002: 'unit key', 1003: 'credentials', 1004: 'wait'};
const roles = {1: 'base', 2: 'un-configured unit'};
const part = (bytes, from, count) => bytes.slice(2 * from, 2 * (from + count));
const value = (bytes, from, count = 1) => parseInt(part(bytes, from, count), 16);
const named = (number, names) => number + (names[number] ? ` ${names[number]}` : '');

function decodedElement(data) {
  if (data.length < 26) return `\nFault: an element of ${data.length / 2} bytes`;
  const oui = part(data, 2, 3).match(/../g).join(':'), rest = ['version', 'prod_type', 'prod_id', 'ifname', 'plon_vie_data'];
  const told = rest.map((name, k) => `${name} ${name === 'prod_id' ? named(value(data, 10), roles) : value(data, 8 + k)}`);
  return `\nid 0x${part(data, 0, 1)}, len ${value(data, 1)}, oui ${oui}, reserved ${part(data, 5, 3)}, ${told.join(', ')}`;
}

function decodedData(operation, data) {
  if (operation === 1000) return decodedElement(data);
  if (operation === 1001) {
    const text = data.replace(/../g, byte => String.fromCharCode(parseInt(byte, 16))).replace(/[^\x20-\x7e]+/g, ' ');
    return `\nBase's public key: ${text.slice(0, 60)}…`;
  }
  if (operation === 1004) return '';
  return `\nEncrypted for: ${operation === 1002 ? 'base' : 'unit'}, RSA blocks of 256 bytes: ${Math.floor(data.length / 512)}\ndata ${data.slice(0, 64)}…`;
}

function decoded(body) {
  if (!body) return '';
  if (!/^0409027e91/.test(body)) return `not of this handshake: ${body.slice(0, 96)}`;
  const operation = +part(body, 5, 2), length = value(body, 7, 2), data = part(body, 9, length || 0);
  const head = `Operation ${named(operation, operations)}, attr_id 0x${part(body, 5, 2)}`;
  if (Number.isNaN(length)) return head;
  const there = data.length / 2, behind = body.length / 2 - 9 - length;
  return `${head}, data_len ${length}` + (there < length ? `\nFault: of its data ${there} bytes are there` :
    decodedData(operation, data) + (behind > 0 ? `\nBytes behind the data, ignored: ${behind}` : ''));
}

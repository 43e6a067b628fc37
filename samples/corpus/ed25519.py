"""Ed25519 signatures (RFC 8032) with a key that everybody knows: for samples, never for secrets."""

import base64
import hashlib

P = 2**255 - 19
ORDER = 2**252 + 27742317777372353535851937790883648493
D = -121665 * pow(121666, -1, P) % P
BASE_Y = 4 * pow(5, -1, P) % P


def recover_x(y):
    square = (y * y - 1) * pow(D * y * y + 1, -1, P) % P
    x = pow(square, (P + 3) // 8, P)
    if (x * x - square) % P:
        x = x * pow(2, (P - 1) // 4, P) % P
    return x if x % 2 == 0 else P - x


BASE = (recover_x(BASE_Y), BASE_Y)


def add(a, b):
    product = D * a[0] * b[0] * a[1] * b[1] % P
    x = (a[0] * b[1] + b[0] * a[1]) * pow(1 + product, -1, P) % P
    y = (a[1] * b[1] + a[0] * b[0]) * pow(1 - product, -1, P) % P
    return x, y


def multiply(number, point):
    result = (0, 1)
    while number:
        if number & 1:
            result = add(result, point)
        point, number = add(point, point), number >> 1
    return result


def encode(point):
    return (point[1] | (point[0] & 1) << 255).to_bytes(32, "little")


def digest(*parts):
    return int.from_bytes(hashlib.sha512(b"".join(parts)).digest(), "little")


class Key:
    def __init__(self, seed):
        wide = hashlib.sha512(seed).digest()
        self.scalar = int.from_bytes(wide[:32], "little") & (1 << 254) - 8 | 1 << 254
        self.prefix = wide[32:]
        self.public = encode(multiply(self.scalar, BASE))

    def sign(self, message):
        nonce = digest(self.prefix, message) % ORDER
        commitment = encode(multiply(nonce, BASE))
        challenge = digest(commitment, self.public, message) % ORDER
        answer = (nonce + challenge * self.scalar) % ORDER
        return commitment + answer.to_bytes(32, "little")

    def detached(self, message):
        """The signature in the form of docs/trust.md: the public key and the signature as PEM."""
        der = bytes.fromhex("302a300506032b6570032100") + self.public
        return pem("PUBLIC KEY", der) + pem("ED25519 SIGNATURE", self.sign(message))


def pem(label, data):
    text = base64.b64encode(data).decode()
    lines = [text[start:start + 64] for start in range(0, len(text), 64)]
    return "\n".join([f"-----BEGIN {label}-----", *lines, f"-----END {label}-----", ""])

// The fields of the geo files: little-endian, packed.

const encoder = new TextEncoder();

export const u16 = value => { const b = Buffer.alloc(2); b.writeUInt16LE(value); return b; };
export const u32 = value => { const b = Buffer.alloc(4); b.writeUInt32LE(value); return b; };
export const doubles = values => Buffer.from(new Float64Array(values).buffer);
export const text = value => { const bytes = encoder.encode(value); return Buffer.concat([u16(bytes.length), bytes]); };

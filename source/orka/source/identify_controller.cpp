// Identify Controller decoding.

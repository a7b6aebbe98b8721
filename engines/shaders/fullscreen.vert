// A strip of four vertices over the whole target.
in vec2 vertex;
in vec2 tex;
out vec2 texCoord;

void main() {
    texCoord = tex;
    gl_Position = vec4(vertex, 0.0, 1.0);
}

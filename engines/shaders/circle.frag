// Points and lines: the colour, its alpha shaped by the circle texture (round dots, round caps).
in vec4 fColor;
flat in float fIdx;
in vec2 tex;
uniform sampler2D circle_tex;
out vec4 outColor;

vec4 stochasticColor(vec2 fragCoord, vec4 inColor, float idx);

void main() {
    vec4 c = fColor;
    c.a *= texture(circle_tex, tex).r;
    outColor = stochasticColor(gl_FragCoord.xy, c, fIdx);
}
